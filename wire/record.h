// CommandRecord: the words of a command that no form lays out, as a plain struct in wire order.
//
// A record is stored, read, measured and dumped from its one definition. Each member is a word of the command:
//
//   struct Example {
//     GLuint name;
//     uint32_t bytes;
//     static constexpr const char* kWords[] = {"name", "bytes"};  // for the dump, one per member
//     uint64_t tailBytes() const { return bytes; }                 // length of the tail; absent when there is none
//     static Example of(GLuint name, const void* data);            // from the arguments of the GL routine, if there is one
//   };
//
// A record whose tail is made of values longer than a byte may have `uint32_t tailWidth() const`, the bytes of one.
// A record whose tail has no length word and reaches to the end of its command has `static constexpr bool kOpenTail = true` in
// place of tailBytes().
#pragma once

#include <concepts>
#include <cstdint>
#include <cstring>
#include <iterator>
#include <type_traits>

namespace qv {

template <typename R>
concept CommandRecord = std::is_aggregate_v<R> && std::is_trivially_copyable_v<R> && alignof(R) == 4 &&
                        std::size(R::kWords) * 4 == sizeof(R);

template <typename R>
concept HasOpenTail = CommandRecord<R> && R::kOpenTail;
template <typename R>
concept HasSizedTail = CommandRecord<R> && requires(const R& record) {
  { record.tailBytes() } -> std::same_as<uint64_t>;
};
template <typename R>
concept HasTailWidth = HasSizedTail<R> && requires(const R& record) {
  { record.tailWidth() } -> std::same_as<uint32_t>;
};
template <typename R>
concept HasTail = HasOpenTail<R> || HasSizedTail<R>;

}  // namespace qv
