// PixelStoreState: how client memory is laid out for images, as the application told with glPixelStore.
#pragma once

#include <cstdint>

namespace qv {

struct PixelStoreHalf {
  int32_t alignment = 4;  // 1, 2, 4 or 8
  int32_t rowLength = 0;
  int32_t imageHeight = 0;
  int32_t skipPixels = 0;
  int32_t skipRows = 0;
  int32_t skipImages = 0;
  uint8_t swapBytes = 0;
  uint8_t lsbFirst = 0;
};

// Both halves back to back: the client attribute stack saves and restores them as one block.
struct PixelStoreState {
  PixelStoreHalf unpack;
  PixelStoreHalf pack;
};

}  // namespace qv
