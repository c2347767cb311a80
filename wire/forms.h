// The payload forms of commands, as tags; layout.h says what each means in bytes.
#pragma once

#include <cstdint>

#include "wire/gl_api.h"
#include "wire/image_size.h"

namespace qv {

// The table that a value count comes from. The pname is the last scalar; with ValueFirst it is the first, and an index follows.
enum class CountRule { Value, ValueFirst, TexEnv, Map };

struct Fixed {};  // scalars only
template <uint32_t N>
struct Vec {};    // scalars, and N components behind each pointer
// Scalars, then `Listed` components behind the pointer when argument KeyArg is one of Keys, else `Otherwise`. No count word.
template <uint32_t KeyArg, uint32_t Otherwise, uint32_t Listed, GLenum... Keys>
struct Sized {
  static constexpr uint32_t kKeyArg = KeyArg;
  static constexpr uint32_t kMost = Otherwise < Listed ? Listed : Otherwise;
  static constexpr uint32_t components(GLenum key) { return ((key == Keys) || ...) ? Listed : Otherwise; }
};
template <CountRule Rule>
struct Counted {};  // scalars, element count, elements; the count follows from the last scalar
template <uint32_t Per>
struct Array {};    // scalars, then count x Per elements behind each pointer; the count is the scalar before the first pointer
// Scalars, of which a count, then a boolean that fills a word, then count x Per elements.
template <uint32_t Per>
struct Matrices {};
// Scalars, then the control points of a map of one or two dimensions as they lie in the program's memory, from the first to the last
// (wire/map_points.h); none without a pointer, and none when OpenGL refuses the map.
template <uint32_t Dimensions>
struct Evaluator {};
struct Text {};       // scalars, byte count with the terminating zero, bytes
struct TextQuery {};  // Text, answered by the return value
// Scalars, the low word of the pointer, a word that counts what follows: bytes behind a pointer to void, else elements. `Data` is
// one of wire/image_size.h. A list that is being recorded gets the command without the data (required oddity 84).
template <typename Data>
struct Image {};
template <typename Record>
struct As {};       // words and data as the record of wire/records/ says
struct Local {};    // no command

// Queries write their scalars and flush for a reply.
template <typename Reply>
struct Query {};
struct Answer {};  // the return value
struct Bytes {};   // a text, into memory that the routine chooses
template <uint32_t N>
struct Components {};  // N elements behind the pointer
template <uint32_t KeyArg, uint32_t Otherwise, uint32_t Listed, GLenum... Keys>
struct SizedReply : Sized<KeyArg, Otherwise, Listed, Keys...> {};
template <CountRule Rule>
struct CountedReply {};  // an element count follows the scalars, and as many elements come back
struct NamesReply {};    // as many names as the first argument says
struct LengthReply {};   // as many elements as the last scalar says
struct ListReply {};     // one word behind the first pointer, and behind the second as many elements as the last scalar says

}  // namespace qv
