// The table as constant data, and commands in readable form.
#include "wire/row_facts.h"

#include <array>
#include <cstdarg>
#include <cstdio>

#include "wire/entry_table.h"

namespace qv {
namespace {

template <typename T>
constexpr ValueKind kValueKind = std::is_floating_point_v<T>                        ? ValueKind::Real
                                 : std::is_integral_v<T> && std::is_signed_v<T> ? ValueKind::Signed
                                                                                : ValueKind::Unsigned;

template <typename T>
constexpr ArgumentFacts factsOf(const Slot& slot) {
  ArgumentFacts out;
  out.offset = static_cast<uint16_t>(slot.offset);
  out.components = static_cast<uint16_t>(slot.count);
  out.wireWidth = static_cast<uint8_t>(slot.width);
  if constexpr (kIsPointer<T>) {
    out.pointer = true;
    using Element = typename Arguments<T>::Element;
    out.width = sizeof(Element);
    out.wireWidth = sizeof(Element);
    out.kind = kValueKind<Element>;
  } else {
    out.width = sizeof(T);
    out.kind = kValueKind<T>;
    out.cut = scalarWidth<T>() < sizeof(T);
  }
  return out;
}

template <typename Form, typename... A>
struct RowArguments {
  static constexpr std::array<ArgumentFacts, sizeof...(A)> value = [] {
    std::array<ArgumentFacts, sizeof...(A)> out{};
    [[maybe_unused]] constexpr auto kSlots = layOut<FormTraits<Form>::kVector, A...>();
    [[maybe_unused]] size_t i = 0;
    ((out[i] = factsOf<A>(kSlots.slot[i]), ++i), ...);
    return out;
  }();
};

template <typename R>
constexpr uint32_t returnBytesOf() {
  if constexpr (std::is_void_v<R>) {
    return 0;
  } else {
    return sizeof(R);
  }
}

template <GLenum... Keys>
struct KeyList {
  static constexpr std::array<GLenum, sizeof...(Keys)> value = {Keys...};
};

// The facts of each form.
constexpr void fillForm(RowFacts& row, Fixed) { row.form = FormKind::Fixed; }
template <uint32_t N>
constexpr void fillForm(RowFacts& row, Vec<N>) {
  row.form = FormKind::Vec;
  row.n = N;
}
template <uint32_t Key, uint32_t Otherwise, uint32_t Listed, GLenum... Keys>
constexpr void fillKeys(RowFacts& row) {
  row.n = Key;
  row.otherwise = Otherwise;
  row.listed = Listed;
  row.keys = KeyList<Keys...>::value;
}
template <uint32_t Key, uint32_t Otherwise, uint32_t Listed, GLenum... Keys>
constexpr void fillForm(RowFacts& row, Sized<Key, Otherwise, Listed, Keys...>) {
  row.form = FormKind::Sized;
  fillKeys<Key, Otherwise, Listed, Keys...>(row);
}
template <CountRule Rule>
constexpr void fillForm(RowFacts& row, Counted<Rule>) {
  row.form = FormKind::Counted;
  row.rule = Rule;
}
template <uint32_t Per>
constexpr void fillForm(RowFacts& row, Array<Per>) {
  row.form = FormKind::Array;
  row.n = Per;
}
template <typename Data>
constexpr void fillForm(RowFacts& row, Image<Data>) {
  row.form = FormKind::Image;
}
template <uint32_t Per>
constexpr void fillForm(RowFacts& row, Matrices<Per>) {
  row.form = FormKind::Matrices;
  row.n = Per;
}
template <uint32_t Dimensions>
constexpr void fillForm(RowFacts& row, Evaluator<Dimensions>) {
  row.form = FormKind::Evaluator;
  row.n = Dimensions;
}
constexpr void fillForm(RowFacts& row, Text) { row.form = FormKind::Text; }
constexpr void fillForm(RowFacts& row, TextQuery) {
  row.form = FormKind::TextQuery;
  row.reply = ReplyKind::Answer;
}
template <typename R>
constexpr void fillForm(RowFacts& row, As<R>) {
  row.form = FormKind::Record;
  row.words = R::kWords;
  if constexpr (HasTailWidth<R>) {
    row.tailWidth = [](const uint8_t* fixed) { return get<R>(fixed).tailWidth(); };
  }
}
constexpr void fillForm(RowFacts& row, Local) { row.form = FormKind::Local; }

constexpr void fillReply(RowFacts& row, Answer) { row.reply = ReplyKind::Answer; }
constexpr void fillReply(RowFacts& row, Bytes) { row.reply = ReplyKind::Bytes; }
template <uint32_t N>
constexpr void fillReply(RowFacts& row, Components<N>) {
  row.reply = ReplyKind::Components;
  row.n = N;
}
template <uint32_t Key, uint32_t Otherwise, uint32_t Listed, GLenum... Keys>
constexpr void fillReply(RowFacts& row, SizedReply<Key, Otherwise, Listed, Keys...>) {
  row.reply = ReplyKind::Sized;
  fillKeys<Key, Otherwise, Listed, Keys...>(row);
}
template <CountRule Rule>
constexpr void fillReply(RowFacts& row, CountedReply<Rule>) {
  row.reply = ReplyKind::Counted;
  row.rule = Rule;
}
constexpr void fillReply(RowFacts& row, NamesReply) { row.reply = ReplyKind::Names; }
constexpr void fillReply(RowFacts& row, LengthReply) { row.reply = ReplyKind::Length; }
constexpr void fillReply(RowFacts& row, ListReply) { row.reply = ReplyKind::List; }
template <typename Reply>
constexpr void fillForm(RowFacts& row, Query<Reply>) {
  row.form = FormKind::Query;
  fillReply(row, Reply{});
}

template <uint32_t N>
constexpr bool isAttribute(Attribute<N>*) {
  return true;
}
constexpr bool isAttribute(void*) { return false; }
template <uint32_t Type>
constexpr bool isUniform(Uniform<Type>*) {
  return true;
}
constexpr bool isUniform(void*) { return false; }

template <typename L>
constexpr void fillLayout(RowFacts& row) {
  row.fixedBytes = L::kPayload;
  row.hasTail = L::kHasTail;
  row.tailBytes = &L::tailBytes;
}

template <typename Row, typename Pointer = typename Row::Prototype::Pointer>
struct Maker;
template <typename Row, typename R, typename... A>
struct Maker<Row, R(APIENTRY*)(A...)> {
  static constexpr RowFacts make() {
    using Implementation = typename Row::Implementation;
    RowFacts row;
    row.name = Row::kName;
    row.opcode = Row::kOpcode;
    row.size = Row::kSize;
    row.core = Row::kCore;
    row.properties = Row::kProperties;
    row.stamped = std::is_same_v<Implementation, Stamped>;
    row.attribute = isAttribute(static_cast<Implementation*>(nullptr));
    row.uniform = isUniform(static_cast<Implementation*>(nullptr));
    row.returnBytes = returnBytesOf<R>();
    using Form = typename Row::Form;
    fillForm(row, Form{});
    if constexpr (!std::is_same_v<Form, Local>) {
      row.arguments = RowArguments<Form, A...>::value;
      fillLayout<LayoutOf<Row>>(row);
      row.tailMayBeMissing = kTailMayBeMissing<Form>;
    }
    return row;
  }
};

template <typename Row, typename Record>
constexpr RowFacts makePrivate() {
  RowFacts row;
  row.name = Row::kName;
  row.opcode = Row::kOpcode;
  row.size = HasTail<Record> ? kVariable : static_cast<int>(kSmallHeaderBytes + sizeof(Record));
  row.core = kNotCore;
  row.isPrivate = true;
  fillForm(row, As<Record>{});
  fillLayout<Layout<As<Record>>>(row);
  row.openTail = HasOpenTail<Record>;
  return row;
}

constexpr RowFacts kRows[] = {
#define QV_ROW(name, ...) Maker<op::name>::make(),
#include "wire/entry_points.def"
#define QV_PRIVATE(name, opcode, record) makePrivate<op::name, record>(),
#include "wire/entry_points.def"
};

constexpr auto kByOpcode = [] {
  std::array<uint16_t, kOpcodes> out{};  // index + 1
  for (uint16_t i = 0; i < std::size(kRows); ++i) {
    const RowFacts& row = kRows[i];
    if (row.opcode != kNoOpcode && row.form != FormKind::Local) out[static_cast<size_t>(row.opcode)] = static_cast<uint16_t>(i + 1);
  }
  return out;
}();

[[gnu::format(printf, 2, 3)]] void append(std::string& out, const char* format, ...) {
  char text[96];
  std::va_list arguments;
  va_start(arguments, format);
  std::vsnprintf(text, sizeof text, format, arguments);
  va_end(arguments);
  out += text;
}

// A value of the wire: reals as reals, small numbers in decimal, the others, which are mostly GL's enums, in hexadecimal.
void appendValue(std::string& out, const uint8_t* at, uint32_t width, ValueKind kind) {
  if (kind == ValueKind::Real && width == 4) return append(out, "%g", static_cast<double>(get<float>(at)));
  if (kind == ValueKind::Real) return append(out, "%g", get<double>(at));
  uint64_t value = 0;
  std::memcpy(&value, at, width);
  if (kind == ValueKind::Signed) {
    const uint32_t unused = 64 - 8 * width;
    const int64_t number = static_cast<int64_t>(value << unused) >> unused;
    if (number < 0) return append(out, "%lld", static_cast<long long>(number));
  }
  append(out, value < 1024 ? "%llu" : "0x%llx", static_cast<unsigned long long>(value));
}

constexpr uint64_t kValuesShown = 16;

void appendValues(std::string& out, const uint8_t* at, uint64_t count, uint32_t width, ValueKind kind) {
  out += '{';
  for (uint64_t i = 0; i < count && i < kValuesShown; ++i) {
    if (i != 0) out += ' ';
    appendValue(out, at + i * width, width, kind);
  }
  if (count > kValuesShown) append(out, " ... %llu", static_cast<unsigned long long>(count));
  out += '}';
}

// The pointer argument whose elements make up the tail.
const ArgumentFacts* dataArgument(const RowFacts& row) {
  for (const ArgumentFacts& argument : row.arguments) {
    if (argument.pointer) return &argument;
  }
  return nullptr;
}

// Quotes and what is not printable are escaped, so that a command stays one line whatever the guest wrote.
void appendText(std::string& out, const uint8_t* text, uint64_t bytes) {
  constexpr uint64_t kCharactersShown = 64;
  out += '"';
  for (uint64_t i = 0; i < bytes && i < kCharactersShown; ++i) {
    if (text[i] == '\n') {
      out += "\\n";
    } else if (text[i] == '"' || text[i] == '\\') {
      append(out, "\\%c", text[i]);
    } else if (text[i] < 0x20 || text[i] >= 0x7F) {
      append(out, "\\x%02x", text[i]);
    } else {
      out += static_cast<char>(text[i]);
    }
  }
  if (bytes > kCharactersShown) append(out, " ... %llu", static_cast<unsigned long long>(bytes));
  out += '"';
}

// The data behind each pointer of an Array row.
void appendArrays(std::string& out, const RowFacts& row, Reader tail) {
  uint64_t widths = 0;
  for (const ArgumentFacts& argument : row.arguments) widths += argument.pointer ? argument.width : 0;
  const uint64_t count = widths == 0 ? 0 : tail.left() / widths;
  for (const ArgumentFacts& argument : row.arguments) {
    const uint8_t* const data = argument.pointer ? tail.bytes(count * argument.width) : nullptr;
    if (data == nullptr) continue;
    if (out.back() == '}') out += ", ";
    appendValues(out, data, count, argument.width, argument.kind);
  }
}

void appendRun(std::string& out, VertexRunRecord record, Reader tail) {
  append(out, "mode %u", record.mode());
  const uint8_t* const tags = record.slots() <= kRunSlots ? tail.bytes(runTagBytes(record.slots())) : nullptr;
  if (tags == nullptr) {
    append(out, ", %u slots", record.slots());
    return;
  }
  uint32_t stride = 0;
  for (uint32_t i = 0; i < record.slots(); ++i) {
    static constexpr const char* kTypes[] = {"d", "f", "i", "ui", "s", "us", "b", "ub"};
    const RunTag tag = get<RunTag>(tags + sizeof(RunTag) * i);
    append(out, ", %u:%u%s", tag.number(), tag.components(), tag.valid() ? kTypes[tag.type()] : "?");
    if (tag.valid()) stride += runAttributeBytes(tag.components(), kRunTypeBytes[tag.type()]);
  }
  const uint64_t bytes = tail.left();
  append(out, ", %llu vertices of %u", static_cast<unsigned long long>(stride == 0 ? 0 : bytes / stride), record.stride());
  if (stride != 0 && bytes % stride != 0) append(out, " and %llu bytes", static_cast<unsigned long long>(bytes % stride));
}

}  // namespace

std::span<const RowFacts> allRows() { return kRows; }

const RowFacts* findRow(uint32_t opcode) {
  const uint16_t index = opcode < kOpcodes ? kByOpcode[opcode] : 0;
  return index == 0 ? nullptr : &kRows[index - 1];
}

std::string describeCommand(uint32_t opcode, Reader payload) {
  std::string out;
  const uint64_t bytes = payload.left();
  const RowFacts* const row = findRow(opcode);
  if (row == nullptr) {
    append(out, "opcode %u, %llu bytes", opcode, static_cast<unsigned long long>(bytes));
    return out;
  }
  out = row->name;
  const uint8_t* const fixed = payload.bytes(row->fixedBytes);
  const bool missing = row->tailMayBeMissing && payload.left() == 0;
  if (fixed == nullptr || (!row->openTail && !missing && payload.left() != row->tailBytes(fixed))) {
    append(out, ": %llu bytes, malformed", static_cast<unsigned long long>(bytes));
    return out;
  }
  out += '(';
  const auto comma = [&] {
    if (out.back() != '(') out += ", ";
  };
  if (row->form == FormKind::Record) {
    if (row->openTail) {
      appendRun(out, get<VertexRunRecord>(fixed), payload);
    } else {
      for (size_t i = 0; i < row->words.size(); ++i) {
        comma();
        append(out, "%s ", row->words[i]);
        appendValue(out, fixed + 4 * i, 4, ValueKind::Unsigned);
      }
    }
  } else {
    for (const ArgumentFacts& argument : row->arguments) {
      if (argument.components == 0) continue;
      comma();
      if (argument.pointer) {
        appendValues(out, fixed + argument.offset, argument.components, argument.wireWidth, argument.kind);
      } else {
        appendValue(out, fixed + argument.offset, argument.wireWidth, argument.kind);
      }
    }
  }
  if (row->form == FormKind::Image) {
    comma();
    append(out, "pointer 0x%x", get<uint32_t>(fixed + row->fixedBytes - 8));
  }
  if (!row->openTail && payload.left() != 0) {
    comma();
    const ArgumentFacts* const data = dataArgument(*row);
    const uint64_t left = payload.left();
    const uint8_t* const tail = payload.rest().data();
    if (row->form == FormKind::Text || row->form == FormKind::TextQuery) {
      appendText(out, tail, left - 1);
    } else if (row->form == FormKind::Array) {
      appendArrays(out, *row, Reader(tail, left));
    } else {
      const uint32_t width = row->tailWidth != nullptr ? row->tailWidth(fixed) : data == nullptr ? 1 : data->width;
      appendValues(out, tail, left / width, width, data == nullptr ? ValueKind::Unsigned : data->kind);
    }
  }
  out += ')';
  return out;
}

}  // namespace qv
