// The tables of value counts.
#include "driver/queries/value_count.h"

#include <algorithm>
#include <array>

#include "driver/queries/value_count_names.h"
#include "driver/stream/gl_routines.h"

namespace qv {

namespace {

using namespace counts;

struct CountRow {
  GLenum pname;
  uint16_t minVersion;
  uint16_t count;
};

constexpr size_t kRows = std::size(kSixteen) + std::size(kFour) + std::size(kThree) + std::size(kTwo) + std::size(kOneFrom430) +
                         std::size(kOneFrom420) + std::size(kOne);

constexpr std::array<CountRow, kRows> sortedRows() {
  std::array<CountRow, kRows> rows{};
  size_t used = 0;
  const auto append = [&](const auto& names, uint16_t count, uint16_t minVersion) {
    for (const GLenum pname : names) rows[used++] = {pname, minVersion, count};
  };
  append(kSixteen, 16, 0);
  append(kFour, 4, 0);
  append(kThree, 3, 0);
  append(kTwo, 2, 0);
  append(kOneFrom430, 1, 430);
  append(kOneFrom420, 1, 420);
  append(kOne, 1, 0);
  std::sort(rows.begin(), rows.end(), [](const CountRow& a, const CountRow& b) { return a.pname < b.pname; });
  return rows;
}

constexpr std::array<CountRow, kRows> kCounts = sortedRows();

constexpr bool eachOnce() {
  for (size_t i = 1; i < kRows; ++i) {
    if (kCounts[i - 1].pname == kCounts[i].pname) return false;
  }
  return true;
}
static_assert(eachOnce(), "a pname stands in two groups");

}  // namespace

int32_t valueCount(uint16_t contextVersion, GLenum pname) {
  if (pname == GL_COMPRESSED_TEXTURE_FORMATS) {
    GLint formats = 0;
    gl::glGetIntegerv(GL_NUM_COMPRESSED_TEXTURE_FORMATS, &formats);
    return boundedCount(formats, kMostFormats);
  }
  const auto row = std::lower_bound(kCounts.begin(), kCounts.end(), pname,
                                    [](const CountRow& each, GLenum wanted) { return each.pname < wanted; });
  if (row == kCounts.end() || row->pname != pname || contextVersion < row->minVersion) return 0;
  return row->count;
}

int32_t pixelMapSize(GLenum map) {
  static_assert(GL_PIXEL_MAP_A_TO_A - GL_PIXEL_MAP_I_TO_I == GL_PIXEL_MAP_A_TO_A_SIZE - GL_PIXEL_MAP_I_TO_I_SIZE);
  if (map < GL_PIXEL_MAP_I_TO_I || map > GL_PIXEL_MAP_A_TO_A) return 0;
  GLint size = 0;
  gl::glGetIntegerv(map - GL_PIXEL_MAP_I_TO_I + GL_PIXEL_MAP_I_TO_I_SIZE, &size);
  return boundedCount(size, kMostPixelMapEntries);
}

int32_t texEnvValueCount(GLenum pname) {
  switch (pname) {
    case GL_TEXTURE_ENV_COLOR:
    case GL_CULL_MODES_NV:
    case GL_OFFSET_TEXTURE_MATRIX_NV:
      return 4;
    case GL_CONST_EYE_NV:
      return 3;
    default:
      return 1;
  }
}

}  // namespace qv
