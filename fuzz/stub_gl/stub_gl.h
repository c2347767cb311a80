// A stand-in for OpenGL that draws nothing and touches all the memory that OpenGL would touch.
#pragma once

#include <cstdint>

namespace qv::fuzz {

// Each function reads what GL reads behind its pointers and writes what GL may write there, so that AddressSanitizer sees a
// pointer that does not lead to as much. What it answers is drawn from the seed. It keeps as much state as its caller can rely
// on: primitives, client arrays, pixel storage, bindings. A thread has a GL of its own, which starts anew with restartStubGl().

// Fills qv::peer::gl, once, before the peer looks at it.
void installStubGl();
// The function of a GL name, as EGL hands it out; null for an unknown name.
void (*stubGlFunction(const char* name))();
void restartStubGl(uint64_t seed);

}  // namespace qv::fuzz
