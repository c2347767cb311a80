// Results of query objects: out of the record, or from the host for all that have ended.
#include "driver/calls/query_objects.h"

#include "driver/stream/entry_template.h"
#include "driver/stream/gl_routines.h"

namespace qv {

namespace {

constexpr uint32_t kBatchBytes = 8192;

// The name of the query that runs on the target; null for a target that is not tracked.
uint32_t* activeQuery(ActiveQueries& active, GLenum target, GLuint index) {
  switch (target) {
    case GL_SAMPLES_PASSED:
      return &active.samplesPassed;
    case GL_ANY_SAMPLES_PASSED:
      return &active.anySamplesPassed;
    case GL_ANY_SAMPLES_PASSED_CONSERVATIVE:
      return &active.anySamplesPassedConservative;
    case GL_TIME_ELAPSED:
      return &active.timeElapsed;
    case GL_PRIMITIVES_GENERATED:
      return &active.primitivesGenerated[index];
    case GL_TRANSFORM_FEEDBACK_PRIMITIVES_WRITTEN:
      return &active.feedbackPrimitivesWritten[index];
    default:
      return nullptr;
  }
}

// Asks for the results of all queries that have ended, so that a burst of them costs one round trip.
template <typename T>
bool batchFetchResults(GlContext* context, GLuint id, GLenum pname, T* params) {
  if (pname != GL_QUERY_RESULT) return false;
  QueryResultRow rows[kBatchBytes / sizeof(QueryResultRow)] = {};
  int32_t total = 0;
  sendRecord<op::qvQueryResults>(context, QueryBatchRecord{id, GL_QUERY_RESULT, kBatchBytes});
  flushStream(context, 0, rows, kBatchBytes, &total, sizeof total);
  if (total <= 0 || static_cast<uint32_t>(total) > kBatchBytes) return false;
  bool answered = false;
  for (uint32_t i = 0; i < static_cast<uint32_t>(total) / sizeof(QueryResultRow); ++i) {
    const QueryResultRow& row = rows[i];
    if (row.pname != GL_QUERY_RESULT) continue;
    QueryRecord* const record = context->queryTable.findAs<QueryRecord>(row.query);
    if (record != nullptr && row.value >= 0) record->result = row.value;
    if (row.query == id) {
      *params = static_cast<T>(row.value);
      answered = true;
    }
  }
  return answered;
}

// False: the host is to be asked.
template <typename T>
bool answerQueryObject(GlContext* context, GLuint id, GLenum pname, T* params) {
  if (params == nullptr) return true;
  if (id == 0) {
    *params = 0;  // and no error: required oddity 187
    return true;
  }
  // Below OpenGL 3.0 every answer is 4: required oddity 113.
  if ((context->quirkFlags & kQuirkQueryTable) == 0) {
    *params = 4;
    return true;
  }
  const QueryRecord* const record = context->queryTable.findAs<QueryRecord>(id);
  if (record == nullptr) return false;
  if (record->result == QueryRecord::kRunning) {
    *params = 0;  // required oddity 119
    recordError(context, GL_INVALID_OPERATION, 0, kErrorText);
    return true;
  }
  if (record->result == QueryRecord::kEnded) return batchFetchResults(context, id, pname, params);
  if (pname == GL_QUERY_RESULT_AVAILABLE) {
    *params = 1;
    return true;
  }
  if (pname != GL_QUERY_RESULT) return false;
  *params = static_cast<T>(record->result);
  return true;
}

template <typename Row, typename T>
void getQueryObject(GLuint id, GLenum pname, T* params) {
  GlContext* const context = enter<Row>();
  if (context == nullptr || answerQueryObject(context, id, pname, params)) return;
  Entry<Row>::call(id, pname, params);
}

}  // namespace

void trackQuery(GlContext* context, GLenum target, GLuint index, GLuint id) {
  if (index >= ActiveQueries::kIndices) return;
  uint32_t previous = 0;
  if (uint32_t* const active = activeQuery(context->activeQueries, target, index); active != nullptr) {
    previous = *active;
    *active = id;
  }
  if (id != 0) {
    QueryRecord* record = context->queryTable.findAs<QueryRecord>(id);
    if (record == nullptr) {
      record = new QueryRecord;
      context->queryTable.set(id, record);
    }
    record->result = QueryRecord::kRunning;
  } else if (previous != 0) {
    if (QueryRecord* const record = context->queryTable.findAs<QueryRecord>(previous); record != nullptr) {
      record->result = QueryRecord::kEnded;
    }
  }
}

namespace gl {

void APIENTRY glGetQueryObjectiv(GLuint id, GLenum pname, GLint* params) {
  getQueryObject<op::glGetQueryObjectiv>(id, pname, params);
}
void APIENTRY glGetQueryObjectuiv(GLuint id, GLenum pname, GLuint* params) {
  getQueryObject<op::glGetQueryObjectuiv>(id, pname, params);
}
void APIENTRY glGetQueryObjecti64v(GLuint id, GLenum pname, GLint64* params) {
  getQueryObject<op::glGetQueryObjecti64v>(id, pname, params);
}
void APIENTRY glGetQueryObjectui64v(GLuint id, GLenum pname, GLuint64* params) {
  getQueryObject<op::glGetQueryObjectui64v>(id, pname, params);
}

}  // namespace gl

}  // namespace qv
