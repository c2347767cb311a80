// The DLL's entry point on Windows.
#include "driver/icd/attach.h"

extern "C" BOOL WINAPI DllMain(HINSTANCE instance, DWORD reason, LPVOID reserved) {
  return qv::driverMain(instance, reason, reserved);
}
