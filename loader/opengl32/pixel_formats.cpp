// Pixel formats as the system's library offers them: description by the driver, choice by closeness to what is wanted.
#include "loader/opengl32/opengl32.h"

namespace qv::loader {
namespace {

// How far a format falls short of the wish, smaller is better; negative when it cannot serve at all.
int distance(const PIXELFORMATDESCRIPTOR& wanted, const PIXELFORMATDESCRIPTOR& offered) {
  constexpr DWORD kNeeded = PFD_DRAW_TO_WINDOW | PFD_DRAW_TO_BITMAP | PFD_SUPPORT_GDI | PFD_SUPPORT_OPENGL;
  if ((wanted.dwFlags & kNeeded) & ~offered.dwFlags) return -1;
  // A program that chooses by a descriptor draws with OpenGL; the formats without the flag are for those that ask by attribute.
  if (!(offered.dwFlags & PFD_SUPPORT_OPENGL)) return -1;
  if (wanted.iPixelType != offered.iPixelType) return -1;
  if (!(wanted.dwFlags & PFD_DOUBLEBUFFER_DONTCARE) && ((wanted.dwFlags ^ offered.dwFlags) & PFD_DOUBLEBUFFER)) return -1;
  const auto shortfall = [](int have, int want, int missing, int excess) {
    if (have < want) return (want - have) * missing;
    return have > want ? excess : 0;
  };
  int total = shortfall(offered.cColorBits, wanted.cColorBits, 100, 1);
  total += shortfall(offered.cAlphaBits, wanted.cAlphaBits, 50, 1);
  if (!(wanted.dwFlags & PFD_DEPTH_DONTCARE)) total += shortfall(offered.cDepthBits, wanted.cDepthBits, 100, 3);
  total += shortfall(offered.cStencilBits, wanted.cStencilBits, 50, 1);
  total += shortfall(offered.cAccumBits, wanted.cAccumBits, 20, 1);
  return total;
}

}  // namespace

int WINAPI wglDescribePixelFormat(HDC hdc, int format, UINT size, PIXELFORMATDESCRIPTOR* descriptor) {
  return isDriverLoaded() ? DrvDescribePixelFormat(hdc, format, size, descriptor) : 0;
}

int WINAPI wglChoosePixelFormat(HDC hdc, const PIXELFORMATDESCRIPTOR* wanted) {
  const int count = wglDescribePixelFormat(hdc, 1, sizeof(PIXELFORMATDESCRIPTOR), nullptr);
  int best = 0, bestDistance = 0;
  for (int format = 1; format <= count; ++format) {
    PIXELFORMATDESCRIPTOR offered{};
    if (!wglDescribePixelFormat(hdc, format, sizeof offered, &offered)) continue;
    const int away = distance(*wanted, offered);
    if (away < 0 || (best && away >= bestDistance)) continue;
    best = format;
    bestDistance = away;
  }
  return best;
}

BOOL WINAPI wglSetPixelFormat(HDC hdc, int format, const PIXELFORMATDESCRIPTOR* descriptor) {
  return isDriverLoaded() && DrvSetPixelFormat(hdc, format) && SetPixelFormat(hdc, format, descriptor);
}

}  // namespace qv::loader
