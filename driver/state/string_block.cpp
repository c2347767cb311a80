// The blocks of strings, one for each class of versions.
#include "driver/state/string_block.h"

#include <iterator>

namespace qv {

namespace {

// Lowest version of each block but the first, from the last block down.
constexpr uint16_t kBlockVersions[] = {430, 420, 410, 400, 330, 320, 310, 300};
constexpr uint32_t kBlocks = std::size(kBlockVersions) + 1;

StringBlock blocks[kBlocks];

}  // namespace

StringBlock& stringBlockFor(uint16_t contextVersion) {
  uint32_t block = kBlocks - 1;
  for (const uint16_t lowest : kBlockVersions) {
    if (contextVersion >= lowest) break;
    --block;
  }
  return blocks[block];
}

}  // namespace qv
