// Replay of the maps of evaluators from their form.
#pragma once

#include "peer/replay/row_replay.h"

namespace qv::peer {

// GL reads as many values as the command's own target, orders and strides say: exactly those that came, or none. It reads them
// before it checks anything when a list is open.
template <typename Row, uint32_t Dimensions>
struct FormReplay<Row, Evaluator<Dimensions>> {
  using Call = RowCall<Row>;
  static void replay(Replayer& replayer, const uint8_t* fixed, Reader& rest) {
    if (mapShape(Call::L::template scalar<0>(fixed)).dimensions != Dimensions) return refuse(replayer, GL_INVALID_ENUM);
    const auto data = rest.rest();
    void* pointer = nullptr;
    if (data.size() != 0) pointer = alignedValues<typename Call::Element>(replayer, data);
    Call::call(fixed, &pointer);
  }
};

}  // namespace qv::peer
