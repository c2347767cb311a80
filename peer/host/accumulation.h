// AccumulationBuffer: what glAccum works on, kept by the peer because EGL's drawables have none.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace qv::peer {

// In pixels, the lower left corner first.
struct PixelRect {
  int32_t x = 0, y = 0, width = 0, height = 0;
  bool empty() const { return width <= 0 || height <= 0; }
};

// Red, green, blue and alpha of each pixel as floats. Every rectangle lies within the buffer's size; pixels of a rectangle come
// and go row by row, lowest first.
class AccumulationBuffer {
 public:
  // Makes all values zero, unless the buffer has the size already. False when there is no memory; the buffer is empty then.
  bool resize(int32_t width, int32_t height);
  bool empty() const { return values_.empty(); }

  void fill(const PixelRect& rect, const float (&color)[4]);
  // Each value becomes itself * `scale` + `offset`.
  void change(const PixelRect& rect, float scale, float offset);
  // Each value becomes itself * `keep` + its counterpart in `pixels` * `scale`.
  void add(const PixelRect& rect, float keep, std::span<const float> pixels, float scale);
  // The values * `scale`, between 0 and 1.
  void read(const PixelRect& rect, float scale, std::span<float> pixels) const;

 private:
  // Index of the first value of a row of the rectangle.
  size_t rowAt(const PixelRect& rect, int32_t number) const;
  std::span<float> row(const PixelRect& rect, int32_t number);

  int32_t width_ = 0;
  std::vector<float> values_;
};

}  // namespace qv::peer
