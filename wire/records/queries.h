// Records of query and sync objects, and of queries of framebuffers and formats.
#pragma once

#include "wire/gl_api.h"
#include "wire/record.h"

namespace qv {

// The results of all finished queries, `query` first. Replies: rows; their bytes.
struct QueryBatchRecord {
  GLuint query;
  GLenum pname;  // GL_QUERY_RESULT
  uint32_t capacity;

  static constexpr const char* kWords[] = {"query", "pname", "capacity"};
};

struct QueryResultRow {
  GLuint query;
  GLenum pname;
  int32_t value;
  uint32_t unused;
};

// glGetSynciv. Replies: the number of values written; the value.
struct SyncValueRecord {
  uint32_t sync;
  GLenum pname;
  uint32_t capacity;

  static constexpr const char* kWords[] = {"sync", "pname", "capacity"};
};

// glGetFramebufferParameteriv
struct FramebufferParameterRecord {
  GLenum target, pname;
  uint32_t count;  // of values in the reply

  static constexpr const char* kWords[] = {"target", "pname", "count"};
};

// glGetInternalformati64v
struct InternalFormatRecord {
  GLenum target, format, pname;
  GLsizei room;
  uint32_t count;  // of values in the reply

  static constexpr const char* kWords[] = {"target", "format", "pname", "room", "count"};
};

}  // namespace qv
