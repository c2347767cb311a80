// glGetString and glGetStringi, and the filter that the host's extension list goes through.
#include "driver/queries/strings.h"

#include <cstring>

#include "driver/base/current_context.h"
#include "driver/base/process_state.h"
#include "driver/diagnostics/record_error.h"
#include "driver/queries/forward.h"
#include "driver/queries/known_extensions.h"
#include "driver/state/string_block.h"
#include "driver/stream/entry.h"
#include "driver/stream/gl_routines.h"
#include "wire/entry_table.h"

namespace qv {

namespace {

constexpr uint32_t kKnown = std::size(knownExtensions);
static_assert(kKnown == 264);

// Added from version 3 on.
constexpr char legacyFormatExtensions[] = "GL_EXT_abgr GL_EXT_bgra";

size_t tokenLength(const char* text) { return std::strcspn(text, " "); }

// The comparison covers the token's own length. So a token also passes when it is the beginning of a name that the search meets:
// required oddity 46.
bool isKnown(const char* token, size_t length) {
  uint32_t low = 0;
  uint32_t high = kKnown;
  while (low < high) {
    const uint32_t middle = (low + high) / 2;
    const int order = std::strncmp(token, knownExtensions[middle], length);
    if (order == 0) return true;
    if (order < 0) {
      high = middle;
    } else {
      low = middle + 1;
    }
  }
  return false;
}

// Cuts `text` into the block's list.
void listExtensions(StringBlock& block, const char* text) {
  // In bounds: the copy is as long as the text of extensions.
  std::memcpy(block.extensionCopy, text, std::strlen(text) + 1);
  char* at = block.extensionCopy;
  for (;;) {
    at += std::strspn(at, " ");
    if (*at == 0 || block.extensionCount == StringBlock::kMaxExtensions) return;
    block.extensionList[block.extensionCount++] = at;
    at += tokenLength(at);
    if (*at == 0) return;
    *at++ = 0;
  }
}

// Asks the host for a text, which ends within its room whether or not the host has ended it.
void askText(GlContext* context, GLenum name, char* text, uint32_t room) {
  text[0] = 0;
  askHost(context, opcodeOf<op::glGetString>, {name}, text, room);
  text[room - 1] = 0;
}

const char* cachedText(GlContext* context, GLenum name, SharedText<StringBlock::kText>& cache) {
  if (const char* const known = cache.get()) return known;
  char text[StringBlock::kText];
  askText(context, name, text, sizeof text);
  return cache.fill(text);
}

const char* extensionText(GlContext* context) {
  StringBlock& block = stringBlockFor(context->contextVersion);
  if (const char* const known = block.extensions.get()) return known;
  char text[StringBlock::kExtensionText];
  askText(context, GL_EXTENSIONS, text, sizeof text);
  filterExtensions(context, text, sizeof text);
  return block.extensions.fill(text, [&](const char* filled) { listExtensions(block, filled); });
}

const char* textOf(GlContext* context, GLenum name) {
  StringBlock& block = stringBlockFor(context->contextVersion);
  switch (name) {
    case GL_VENDOR:
      return cachedText(context, name, block.vendor);
    case GL_RENDERER:
      return cachedText(context, name, block.renderer);
    case GL_VERSION:
      return cachedText(context, name, block.version);
    case GL_SHADING_LANGUAGE_VERSION:
      return cachedText(context, name, block.shadingLanguageVersion);
    case GL_EXTENSIONS:
      return extensionText(context);
    default:
      askText(context, name, context->scratchString, sizeof context->scratchString);
      return context->scratchString;
  }
}

}  // namespace

uint32_t extensionCount(GlContext* context) {
  const StringBlock& block = stringBlockFor(context->contextVersion);
  if (block.extensions.get() == nullptr) gl::glGetString(GL_EXTENSIONS);
  return block.extensions.get() == nullptr ? 0 : block.extensionCount;
}

void keepKnown(char* text) {
  const char* from = text;
  char* to = text;
  for (;;) {
    from += std::strspn(from, " ");
    if (*from == 0) break;
    const size_t length = tokenLength(from);
    if (isKnown(from, length)) {
      if (to != text) *to++ = ' ';
      // In bounds: what is kept is never longer than what has been read, blanks included.
      std::memmove(to, from, length);
      to += length;
    }
    from += length;
  }
  *to = 0;
}

void appendExtensions(char* text, size_t capacity, const char* more) {
  const size_t used = std::strlen(text);
  size_t room = capacity - used;
  if (room < 2) return;
  char* to = text + used;
  *to++ = ' ';
  --room;
  for (bool first = true;; first = false) {
    more += std::strspn(more, " ");
    const size_t length = tokenLength(more);
    if (length == 0 || room < length + 2) break;
    if (!first) {
      *to++ = ' ';
      --room;
    }
    // In bounds: room holds the token, a blank before it and the final zero.
    std::memcpy(to, more, length);
    to += length;
    room -= length;
    more += length;
  }
  *to = 0;
}

void filterExtensions(GlContext* context, char* text, size_t capacity) {
  keepKnown(text);
  // Names of WGL come in, and a name may come twice: required oddity 47.
  appendExtensions(text, capacity, GlExtensionAddendum);
  if (context->contextVersion / 100 >= 3) appendExtensions(text, capacity, legacyFormatExtensions);
  appendExtensions(text, capacity, WglExtensions);
}

namespace gl {

const GLubyte* APIENTRY glGetString(GLenum name) {
  GlContext* const context = enter<op::glGetString>();
  return context == nullptr ? nullptr : reinterpret_cast<const GLubyte*>(textOf(context, name));
}

const GLubyte* APIENTRY glGetStringi(GLenum name, GLuint index) {
  if (name != GL_EXTENSIONS) return glGetString(name);
  GlContext* const context = currentContext();
  // Neither an index beyond the list nor another name is an error: required oddity 48.
  if (context == nullptr || index >= extensionCount(context)) return nullptr;
  return reinterpret_cast<const GLubyte*>(stringBlockFor(context->contextVersion).extensionList[index]);
}

}  // namespace gl

}  // namespace qv
