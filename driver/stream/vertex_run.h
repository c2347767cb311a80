// Immediate-mode vertex runs: the participants' template, and the opening and closing of a run.
#pragma once

#include <cstdint>

#include "driver/base/current_context.h"
#include "driver/state/gl_context.h"
#include "driver/stream/write_command.h"
#include "wire/entry_table.h"

namespace qv {

// How a run ends.
inline constexpr uint32_t kRunBroken = opcodeOf<op::qvRunBroken>;  // the primitive goes on with plain commands
inline constexpr uint32_t kRunEnded = opcodeOf<op::qvRunEnded>;    // glEnd came

// Opens a run for the glBegin mode: leaves room for its head, which closeRun fills. No run may be open.
void openRun(GlContext* context, uint32_t mode);

// Closes the open run as kRunBroken or kRunEnded. insideBegin is not touched: after a broken run the primitive goes on.
void closeRun(GlContext* context, uint32_t kind);

// The first vertex has come: leaves the tag area, writes the attributes collected so far and freezes the layout with
// `signature` as its last slot, of `bytes` bytes.
void fixRunLayout(GlContext* context, uint32_t signature, uint32_t bytes);

// Signature words: marker 1 in bits 31..24, component count in 15..12, type code in 11..8, attribute number in 7..0.
template <typename T>
constexpr uint32_t signatureOf(uint32_t components, uint32_t attribute) {
  return 1u << 24 | RunTag::of(components, runTypeCode<T>(), 0).bits | attribute;
}

// A participant's call that repeats the layout of the run: stores its components and is done. False, with nothing changed,
// when it does not match or the buffer is full. `number` is the attribute number. `Number` says at compile time whether the
// attribute is the position, behind which the next vertex begins.
template <uint32_t Number, typename T, uint32_t Components, typename Store>
inline bool repeatAttribute(GlContext* context, uint32_t number, Store&& store) {
  constexpr uint32_t kBytes = runAttributeBytes(Components, sizeof(T));
  VertexRun& run = *context;
  const uint32_t index = run.runSlotIndex;
  // No run open: all signatures are zero and the compare fails.
  if (run.runSignature[index] != (signatureOf<T>(Components, 0) | number) || context->remaining < kBytes) [[unlikely]]
    return false;
  uint8_t* const at = context->cursor;
  context->cursor = at + kBytes;
  context->remaining -= kBytes;
  run.runSlotIndex = Number == kPosition ? 0 : index + 1;
  store(at);
  return true;
}

// What repeatAttribute leaves: a full buffer, an attribute that defines a slot, the first vertex, or a call that breaks the run.
// `plain` writes the ordinary command.
template <uint32_t Number, typename T, uint32_t Components, typename Store, typename Plain>
inline void defineAttribute(GlContext* context, uint32_t number, Store&& store, Plain&& plain) {
  constexpr uint32_t kBytes = runAttributeBytes(Components, sizeof(T));
  VertexRun& run = *context;
  const uint32_t signature = signatureOf<T>(Components, 0) | number;
  const uint32_t index = run.runSlotIndex;
  if (run.runSignature[index] == signature) {
    store(takeRoom(*context, kBytes));
    run.runSlotIndex = Number == kPosition ? 0 : index + 1;
    return;
  }
  if (run.runOpen) {
    if (!run.runLayoutFixed) {
      if constexpr (Number == kPosition) {
        fixRunLayout(context, signature, kBytes);
        store(takeRoom(*context, kBytes));
        return;
      } else if (index < VertexRun::kSlots - 1) {
        // In bounds: at most 15 slots of at most 32 bytes stand before this one.
        store(run.runTemplate + run.runStride);
        ++run.runSlotCount;
        run.runStride += kBytes;
        run.runSignature[index] = signature;
        run.runSlotIndex = index + 1;
        return;
      }
    }
    closeRun(context, kRunBroken);
  }
  plain();
}

}  // namespace qv
