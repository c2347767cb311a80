// The exports that answer from tables: functions by name, pixel formats, callbacks, layers.
#include "driver/base/pixel_formats.h"
#include "driver/base/fail.h"
#include "driver/base/process_state.h"
#include "driver/icd/drv_exports.h"
#include "driver/tables/proc_tables.h"

namespace {

// Sign of the order of two names by their bytes as unsigned values.
int compareNames(const char* a, const char* b) {
  while (*a == *b && *a != '\0') {
    ++a;
    ++b;
  }
  return static_cast<unsigned char>(*a) - static_cast<unsigned char>(*b);
}

}  // namespace

PROC APIENTRY DrvGetProcAddress(LPCSTR name) {
  uint32_t low = 0, high = qv::kProcNames;
  while (low < high) {
    const uint32_t middle = (low + high) / 2;
    const int order = compareNames(name, qv::ProcNameTable[middle].name);
    if (order == 0) return qv::ProcNameTable[middle].proc;
    if (order < 0) {
      high = middle;
    } else {
      low = middle + 1;
    }
  }
  return nullptr;
}

BOOL APIENTRY DrvValidateVersion(ULONG) { return 1; }

void APIENTRY DrvSetCallbackProcs(INT count, PROC* procs) {
  if (count > 4) {
    qv::CompositionPresent = reinterpret_cast<PFN_PRESENTBUFFERS>(reinterpret_cast<void*>(procs[4]));
  }
}

LONG APIENTRY DrvDescribePixelFormat(HDC, INT format, ULONG size, PIXELFORMATDESCRIPTOR* descriptor) {
  if (descriptor == nullptr) return qv::kPixelFormats;
  if (!qv::isPixelFormat(format) || size != sizeof(qv::PixelFormatRecord)) {
    return qv::failWith(ERROR_INVALID_PIXEL_FORMAT);
  }
  *descriptor = qv::pixelFormat(format);
  if (qv::CompositionPresent != nullptr) descriptor->dwFlags |= PFD_SUPPORT_COMPOSITION;
  return qv::kPixelFormats;
}

// Nothing is stored: the system keeps the format of a device context, and the driver asks it whenever it needs it.
BOOL APIENTRY DrvSetPixelFormat(HDC, LONG format) {
  if (qv::isPixelFormat(static_cast<int32_t>(format))) return 1;
  return qv::failWith(ERROR_INVALID_PIXEL_FORMAT);
}

// There are no layers and no palettes.
BOOL APIENTRY DrvDescribeLayerPlane(HDC, INT, INT, UINT, LAYERPLANEDESCRIPTOR*) { return 0; }
int APIENTRY DrvGetLayerPaletteEntries(HDC, INT, INT, INT, COLORREF*) { return 0; }
BOOL APIENTRY DrvRealizeLayerPalette(HDC, INT, BOOL) { return 0; }
int APIENTRY DrvSetLayerPaletteEntries(HDC, INT, INT, INT, const COLORREF*) { return 0; }
