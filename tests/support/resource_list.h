// Lists of active resources as a host tells them, put together by hand.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "tests/support/stream_builder.h"

namespace qv::test {

struct Resource {
  uint32_t type = 0;
  int32_t size = 1, location = 0, step = 0;
  std::string name;
};

// Each entry: type, array size, location, step, name with its zero, up to a multiple of 4.
inline std::vector<uint8_t> resourceList(const std::vector<Resource>& resources) {
  std::vector<uint8_t> list;
  for (const Resource& one : resources) {
    Stream::append(list, one.type);
    Stream::append(list, one.size);
    Stream::append(list, one.location);
    Stream::append(list, one.step);
    list.insert(list.end(), one.name.begin(), one.name.end());
    const size_t length = (one.name.size() + 20) & ~size_t{3};
    list.resize(list.size() + length - 16 - one.name.size());
  }
  return list;
}

// The second reply to a question for a list.
inline std::vector<uint8_t> listTotals(size_t bytes, size_t entries) {
  return words({static_cast<uint32_t>(bytes), static_cast<uint32_t>(entries)});
}

}  // namespace qv::test
