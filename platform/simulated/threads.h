// Who is running: the simulated Windows' own thread ids, which are never used twice, and the ends of threads.
#pragma once

#include "platform/win32.h"

namespace qv::sim {

// Id of this thread; the first call makes it known, and its end is noticed from then on.
DWORD currentThreadId();
// The id of a thread that never ends and is none of the process's own: theirs are multiples of 4.
inline constexpr DWORD kLastingThread = 2;

// True until the thread's last thread-local destructor has run.
bool threadRuns(DWORD id);

// Called once per known thread at its end, with no lock held: hands its waiting messages on (window system).
void threadEnded(DWORD id);

}  // namespace qv::sim
