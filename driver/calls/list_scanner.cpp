// The list scanner: what a called list does to the shadow, read from the guest's recording of it. The host has the call itself.
#include <array>

#include "driver/calls/all.h"
#include "driver/objects/display_list_stream.h"
#include "driver/objects/share_group.h"
#include "driver/stream/entry.h"
#include "wire/command_walk.h"

namespace qv {
namespace {

// glBegin must find no primitive open, glEnd one.
enum class Primitive : uint8_t { Any, None, Open };

struct ScannedRow {
  uint16_t least = 0;        // bytes of the payload; a shorter one is passed over
  uint16_t errorOpcode = 0;  // lastOpcode of a refusal
  Primitive primitive = Primitive::Any;
  bool keepsShadow = true;                                // it does nothing to the shadow but open and close primitives
  uint64_t (*tailBytes)(const uint8_t* fixed) = nullptr;  // behind `least`; null for a row whose tail is not recorded
  void (*apply)(GlContext* context, const uint8_t* payload) = nullptr;
};

// shadow(Row{}, context, arguments...) with the arguments of a payload, which need not be aligned.
template <typename Row, typename Pointer = typename Row::Prototype::Pointer>
struct Recorded;
template <typename Row, typename R, typename... A>
struct Recorded<Row, R(APIENTRY*)(A...)> {
  static void apply(GlContext* context, const uint8_t* payload) {
    using Form = typename Row::Form;
    if constexpr (FormTraits<Form>::kVector != 0) {
      static_assert(sizeof...(A) == 1);
      typename Arguments<A...>::Element values[FormTraits<Form>::kVector];
      std::memcpy(values, payload, sizeof values);
      shadow(Row{}, context, values);
    } else {
      static_assert(std::is_same_v<Form, Fixed>);
      [&]<size_t... I>(std::index_sequence<I...>) { shadow(Row{}, context, Layout<Form, A...>::template scalar<I>(payload)...); }
      (std::index_sequence_for<A...>{});
    }
  }
};

void applyBegin(GlContext* context, const uint8_t* payload) {
  context->beginPrimitive = get<uint32_t>(payload);
  context->insideBegin = 1;
}

void applyEnd(GlContext* context, const uint8_t*) {
  context->beginPrimitive = 0;
  context->insideBegin = 0;
}

void applyCallLists(GlContext* context, const uint8_t* payload) {
  const auto record = get<CallListsRecord>(payload);
  callListsShadow(context, record.count, record.type, payload + sizeof record);
}

// The data of draws, which are not recorded either, have no length of their own.
template <typename Form>
inline constexpr bool kRecordsTail = true;
template <typename Data>
inline constexpr bool kRecordsTail<Image<Data>> = false;

template <typename Row>
constexpr ScannedRow scannedRow() {
  using L = LayoutOf<Row>;
  ScannedRow row;
  row.least = L::kPayload;
  row.errorOpcode = Row::kOpcode;
  // The scalar and the vector form of a raster position or rectangle are refused as the vector form: required oddity 131.
  if (Row::kOpcode >= op::glRasterPos2d::kOpcode && Row::kOpcode <= op::glRectsv::kOpcode) row.errorOpcode |= 1;
  if (has<Row>(kBeginCheck)) row.primitive = Primitive::None;
  if constexpr (L::kHasTail && kRecordsTail<typename Row::Form>) row.tailBytes = &L::tailBytes;
  // What acts whatever the list mode has acted when it was recorded.
  row.keepsShadow = !has<Row>(kListTest);
  if constexpr (std::is_same_v<Row, op::glBegin>) {
    row.apply = &applyBegin;
    row.keepsShadow = true;
  } else if constexpr (std::is_same_v<Row, op::glEnd>) {
    row.apply = &applyEnd;
    row.primitive = Primitive::Open;
    row.keepsShadow = true;
  } else if constexpr (std::is_same_v<Row, op::glCallLists>) {
    row.apply = &applyCallLists;
  } else if constexpr (has<Row>(kListTest)) {
    row.apply = &Recorded<Row>::apply;
  }
  return row;
}

// Numbers of commands that other versions of the driver record.
constexpr struct {
  uint16_t number, opcode;
} kOtherNumbers[] = {
    {583, op::glActiveTexture::kOpcode},        {617, op::glLoadTransposeMatrixf::kOpcode},
    {618, op::glLoadTransposeMatrixd::kOpcode}, {619, op::glMultTransposeMatrixf::kOpcode},
    {620, op::glMultTransposeMatrixd::kOpcode}, {853, op::glDrawArrays::kOpcode},
};

// Opcodes count modulo 2048: glEndTransformFeedback, 2055, reads as a glBegin without its mode and is passed over, where the same
// call by its EXT name acts (required oddity 132).
constexpr uint32_t kScannedOpcodes = 2048;

struct ScannedRows {
  std::array<uint8_t, kScannedOpcodes> indices{};  // in `rows`, whose first row stands for a command that is not recorded
  std::array<ScannedRow, 132> rows{};
};

constexpr ScannedRows kScanned = [] {
  ScannedRows out;
  uint8_t used = 0;
  forEachRow([&]<typename Row>(Row) {
    if constexpr (has<Row>(kRecords) && Row::kOpcode < static_cast<int>(kScannedOpcodes)) {
      out.rows[++used] = scannedRow<Row>();
      out.indices[Row::kOpcode] = used;
    }
  });
  for (const auto& [number, opcode] : kOtherNumbers) out.indices[number] = out.indices[opcode];
  return out;
}();

// What has been seen of a list.
struct Scan {
  bool keepsShadow = true;
};

void scanCommand(GlContext* context, uint32_t opcode, Reader& payload, Scan& scan) {
  const uint32_t index = kScanned.indices[opcode % kScannedOpcodes];
  if (index == 0) return;
  const ScannedRow& row = kScanned.rows[index];
  const uint8_t* const fixed = payload.bytes(row.least);
  if (fixed == nullptr) return;
  if (row.tailBytes != nullptr && payload.left() < row.tailBytes(fixed)) return;
  if (row.primitive != Primitive::Any && (context->insideBegin != 0) != (row.primitive == Primitive::Open)) [[unlikely]]
    return refuse(context, row.errorOpcode, GL_INVALID_OPERATION);
  if (row.apply == nullptr) return;
  scan.keepsShadow &= row.keepsShadow;
  row.apply(context, fixed);
}

// The list stays, and its recording as it is, whatever the calls of a debug callback do to its name meanwhile.
void scanList(GlContext* context, DisplayListStream& list) {
  const bool outside = !context->insideBegin;
  if (outside && list.inert.load(std::memory_order_relaxed)) return;
  const uint32_t errors = context->errorsRaised;
  Scan scan;
  CommandWalk walk(list.base, static_cast<uint32_t>(list.cursor - list.base));
  uint32_t opcode = 0;
  Reader payload(nullptr, 0);
  while (walk.next(opcode, payload)) scanCommand(context, opcode, payload, scan);
  if (outside && !context->insideBegin && scan.keepsShadow && errors == context->errorsRaised)
    list.inert.store(true, std::memory_order_relaxed);
}

constexpr int32_t kDeepest = 64;

}  // namespace

void callListShadow(GlContext* context, GLuint list) {
  // The first of these is required oddity 136.
  if (context->listMode == GL_COMPILE_AND_EXECUTE || context->listDepth >= kDeepest) return;
  const GLuint name = list + context->list.current().listBase;  // required oddity 133
  ShareGroup* const group = context->shareGroup;
  if (!context->insideBegin &&
      context->inertLists.contain(name, group->listsGeneration.load(std::memory_order_acquire))) [[likely]]
    return;
  DisplayListStream* found = nullptr;
  uint64_t generation = 0;
  {
    const ShareLock lock(group);
    generation = group->listsGeneration.load(std::memory_order_relaxed);
    found = static_cast<DisplayListStream*>(group->table(ShareSlot::kLists).findAs<CommandStream>(name));
    if (found != nullptr) found->keep();
  }
  ++context->listDepth;
  context->listMode = kListScanning;
  bool inert = true;
  if (found != nullptr) {
    scanList(context, *found);
    inert = found->inert.load(std::memory_order_relaxed);
    found->release();
  }
  if (inert) context->inertLists.add(name, generation);
  if (--context->listDepth == 0) context->listMode = 0;
}

void callListsShadow(GlContext* context, GLsizei n, GLenum type, const void* lists) {
  const auto* const bytes = static_cast<const uint8_t*>(lists);
  for (size_t i = 0; n > 0 && i < static_cast<size_t>(n); ++i) {
    const uint8_t* const at = bytes + i;  // names of several bytes overlap: required oddity 134
    GLuint name = 0;
    switch (type) {
      case GL_BYTE:
        name = static_cast<GLuint>(get<int8_t>(at));
        break;
      case GL_UNSIGNED_BYTE:
        name = *at;
        break;
      case GL_SHORT:
        name = static_cast<GLuint>(get<int16_t>(bytes + 2 * i));
        break;
      case GL_UNSIGNED_SHORT:
        name = get<uint16_t>(bytes + 2 * i);
        break;
      case GL_INT:
      case GL_UNSIGNED_INT:
        name = get<uint32_t>(bytes + 4 * i);
        break;
      case GL_FLOAT:
        name = static_cast<GLuint>(truncateTo<int64_t>(static_cast<double>(get<float>(bytes + 4 * i))));
        break;
      case GL_2_BYTES:
        name = at[0] * 256u + at[1];
        break;
      case GL_3_BYTES:
        name = (at[0] * 256u + at[1]) * 256u + at[2];
        break;
      case GL_4_BYTES:
        name = ((at[0] * 256u + at[1]) * 256u + at[2]) * 256u + at[3];
        break;
      default:
        return;
    }
    callListShadow(context, name);
  }
}

}  // namespace qv
