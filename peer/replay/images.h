// Images of the guest: where OpenGL reads uploads, and how what OpenGL reads back goes to the guest.
//
// OpenGL's own pixel store state is the host's: it is set per image to the few parameters that an image needs and that every
// OpenGL treats right. What remains (skips, swapped bytes, bits) the host does itself.
#pragma once

#include <cstdint>
#include <vector>

#include "wire/image_size.h"
#include "wire/reader.h"

namespace qv::peer {

class Replayer;

// The sizes, offsets and levels that the host hands to OpenGL: no sum of two of them wraps. OpenGL refuses numbers of this size.
inline constexpr GLint kFarthest = 1 << 29;
constexpr GLint near(GLint value) { return value < -kFarthest ? -kFarthest : value > kFarthest ? kFarthest : value; }

// What OpenGL is given for an upload.
struct UploadSource {
  const void* pointer = nullptr;
  GLenum format = 0, type = 0;    // in place of the command's
  GLuint rebind = 0;              // the unpack buffer that is to be bound again after the call
  std::vector<uint8_t> made;      // holds what `pointer` points to where the host has made it
  bool pushedAttributes = false;  // GL's attribute stack is to be popped after the call
};

// Finds the pixels of an upload and sets OpenGL's unpacking. `pointer` is the command's word, `data` its tail. `bits` images go
// to OpenGL as bits, others of GL_BITMAP as bytes. False, with a log line, for a command that is to be passed over.
bool findUpload(Replayer& replayer, uint32_t opcode, const char* name, const CallImage& image, bool bits, uint32_t pointer,
                const Elements<uint8_t>& data, UploadSource& source);
// The same for data that the pixel store state does not touch; `expected` bytes belong to the command.
bool findPlainUpload(Replayer& replayer, uint32_t opcode, const char* name, uint64_t expected, uint32_t pointer,
                     const Elements<uint8_t>& data, UploadSource& source);
// Whether a glPixelMap of so many entries, with so many bytes, may go to OpenGL. False, with an error or a log line, for what an
// OpenGL follows blindly in a list.
bool mayRecordPixelMap(Replayer& replayer, uint32_t opcode, const char* name, GLsizei entries, uint64_t bytes);
// After the call.
void endUpload(const UploadSource& source);

}  // namespace qv::peer
