// The arithmetic of glAccum.
#include "peer/host/accumulation.h"

#include <algorithm>
#include <new>

namespace qv::peer {

bool AccumulationBuffer::resize(int32_t width, int32_t height) {
  const size_t size = size_t{4} * static_cast<size_t>(width) * static_cast<size_t>(height);
  if (width == width_ && size == values_.size()) return true;
  values_ = {};
  width_ = width;
  try {
    values_.resize(size);
  } catch (const std::bad_alloc&) {
    return false;
  }
  return true;
}

size_t AccumulationBuffer::rowAt(const PixelRect& rect, int32_t number) const {
  return 4 * (static_cast<size_t>(rect.y + number) * static_cast<size_t>(width_) + static_cast<size_t>(rect.x));
}

std::span<float> AccumulationBuffer::row(const PixelRect& rect, int32_t number) {
  return std::span(values_).subspan(rowAt(rect, number), 4 * static_cast<size_t>(rect.width));
}

void AccumulationBuffer::fill(const PixelRect& rect, const float (&color)[4]) {
  for (int32_t y = 0; y < rect.height; ++y) {
    const std::span<float> values = row(rect, y);
    for (size_t i = 0; i < values.size(); ++i) values[i] = color[i % 4];
  }
}

void AccumulationBuffer::change(const PixelRect& rect, float scale, float offset) {
  for (int32_t y = 0; y < rect.height; ++y)
    for (float& value : row(rect, y)) value = value * scale + offset;
}

void AccumulationBuffer::add(const PixelRect& rect, float keep, std::span<const float> pixels, float scale) {
  const float* from = pixels.data();
  for (int32_t y = 0; y < rect.height; ++y)
    for (float& value : row(rect, y)) value = value * keep + *from++ * scale;
}

void AccumulationBuffer::read(const PixelRect& rect, float scale, std::span<float> pixels) const {
  float* to = pixels.data();
  for (int32_t y = 0; y < rect.height; ++y) {
    const float* const from = values_.data() + rowAt(rect, y);
    to = std::transform(from, from + 4 * rect.width, to, [&](float value) { return std::clamp(value * scale, 0.0f, 1.0f); });
  }
}

}  // namespace qv::peer
