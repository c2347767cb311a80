// What the sanitizers may find at the end of the tests that is not ours: Mesa's software renderer keeps the parts of its pipeline
// for selection and feedback, and the last text of an assembly program.
extern "C" [[gnu::visibility("default")]] const char* __lsan_default_suppressions();
extern "C" const char* __lsan_default_suppressions() { return "leak:swrast_dri.so"; }
