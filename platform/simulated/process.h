// What the parts of the simulated process tell each other for reset() and the live counts.
#pragma once

#include <cstdint>

#include "platform/win32.h"

namespace qv::sim {

DWORD currentProcessId();
uint32_t liveTlsSlots();
uint32_t liveCriticalSections();
uint32_t heldCriticalSections();
void resetTls();
void resetProcess();
void resetVersionInfo();

// True when `path` is the image path of the process, whole or cut off at MAX_PATH.
bool isImagePath(LPCWSTR path);

}  // namespace qv::sim
