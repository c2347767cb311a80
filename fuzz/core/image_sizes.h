// How much memory calls on images need.
#pragma once

#include <cstdint>
#include <optional>

#include "wire/image_size.h"
#include "wire/pixel_store.h"
#include "wire/row_facts.h"

namespace qv::fuzz {

// What of a context says where images lie.
struct PixelState {
  PixelStoreState store;
  bool packs = false, unpacks = false;  // a buffer is bound, and pointers are offsets into it
};

// The image of a call that the pixel store state sizes; nothing for other calls. `values` are the bits of the arguments.
std::optional<CallImage> imageOf(const RowFacts& row, const uint64_t* values);
// Elements that the driver reads behind the pointer of an upload; nothing for other rows.
std::optional<uint64_t> uploadElements(const RowFacts& row, const uint64_t* values, const PixelState& state);
// Bytes that are written at most behind the pointer of a read; nothing for other rows.
std::optional<uint64_t> readBytes(const RowFacts& row, const uint64_t* values, const PixelState& state);
// Whether it is a read whose length OpenGL tells, and not its arguments.
bool isSizedByHost(const RowFacts& row);

}  // namespace qv::fuzz
