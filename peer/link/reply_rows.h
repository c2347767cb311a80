// ReplyRows: where the bytes of a reply belong in the guest's buffer when they are the rows of an image.
#pragma once

#include <cstdint>
#include <type_traits>

namespace qv::peer {

// In bytes. The rows come without gaps; what lies between their places in the buffer stays as it is.
struct ReplyRows {
  uint32_t first = 0;        // of the first row
  uint32_t run = 0;          // of a row; 0: the reply is no image and goes to the buffer's beginning as it is
  uint32_t stride = 0;       // from row to row, at least `run`
  uint32_t rows = 0;         // of one image
  uint32_t imageStride = 0;  // from image to image, at least the rows of one
  uint32_t images = 0;

  bool isImage() const { return run != 0; }
  // Whether the rows make up `bytes` bytes and their places lie within `room`, in order.
  bool fits(uint32_t bytes, uint32_t room) const;
  // The place of byte `at` of the reply, and how many bytes up to the row's end belong behind it.
  struct Place {
    uint64_t offset = 0;
    uint32_t bytes = 0;
  };
  Place placeOf(uint32_t at) const;
};
static_assert(std::has_unique_object_representations_v<ReplyRows>);

inline bool ReplyRows::fits(uint32_t bytes, uint32_t room) const {
  if (!isImage()) return bytes <= room;
  if (rows == 0 || images == 0) return bytes == 0;
  if (stride < run && rows > 1) return false;
  const uint64_t image = uint64_t{rows - 1} * stride + run;  // below 2^64: 32-bit factors
  if (image > room || (images > 1 && imageStride < image)) return false;
  const uint64_t last = uint64_t{images - 1} * imageStride;
  return last <= room && first + last + image <= room && uint64_t{run} * rows * images == bytes;
}

inline ReplyRows::Place ReplyRows::placeOf(uint32_t at) const {
  const uint64_t image = uint64_t{run} * rows;
  const uint64_t inImage = at % image, inRow = inImage % run;
  return {first + at / image * imageStride + inImage / run * stride + inRow, static_cast<uint32_t>(run - inRow)};
}

}  // namespace qv::peer
