// The source that the precompiled headers of the tests are made with.
int main() {}
