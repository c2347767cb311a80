// Replay of query objects, of which the guest makes the names, and of what is drawn by their results.
#include <algorithm>
#include <vector>

#include "peer/replay/errors.h"
#include "peer/replay/gl_functions.h"
#include "peer/replay/replay_functions.h"
#include "peer/replay/replay_state.h"
#include "peer/replay/replayer.h"
#include "peer/replay/text_replay.h"

namespace qv::peer {
namespace {

constexpr uint32_t kIndices = 4;  // at least as many as GL has streams of vertices

QueryNames& queriesOf(Replayer& replayer) { return replayer.state().queries; }

// GL's name of a query, made if there is none yet: the guest does not say which it has generated (required oddity 180). 0 only for
// 0; false when there are too many.
bool nameOf(Replayer& replayer, GLuint guest, GLuint& name) {
  name = queriesOf(replayer).names.findOrMake(guest, [] {
    GLuint made = 0;
    gl.glGenQueries(1, &made);
    return made;
  });
  if (name != 0 || guest == 0) return true;
  refuse(replayer, GL_OUT_OF_MEMORY);
  return false;
}

bool isTarget(GLenum target) {
  switch (target) {
    case GL_SAMPLES_PASSED:
    case GL_ANY_SAMPLES_PASSED:
    case GL_ANY_SAMPLES_PASSED_CONSERVATIVE:
    case GL_TIME_ELAPSED:
    case GL_PRIMITIVES_GENERATED:
    case GL_TRANSFORM_FEEDBACK_PRIMITIVES_WRITTEN:
      return true;
    default:
      return false;
  }
}

// The guest's name of the query that runs on the target.
GLuint currentQuery(Replayer& replayer, GLenum target, GLuint index) {
  if (replayer.state().insideBegin || !isTarget(target) || index >= kIndices) return 0;
  GLint name = 0;
  if (index == 0) {
    gl.glGetQueryiv(target, GL_CURRENT_QUERY, &name);
  } else if (gl.glGetQueryIndexediv != nullptr) {
    gl.glGetQueryIndexediv(target, index, GL_CURRENT_QUERY, &name);
  }
  return queriesOf(replayer).names.guestOf(static_cast<GLuint>(name));
}

template <typename Begin>
void beginQuery(Replayer& replayer, GLenum target, GLuint index, GLuint id, Begin&& begin) {
  GLuint name = 0;
  if (!nameOf(replayer, id, name)) return;
  begin(name);
  if (id != 0 && currentQuery(replayer, target, index) == id) queriesOf(replayer).began(id);
}

template <typename End>
void endQuery(Replayer& replayer, GLenum target, GLuint index, End&& end) {
  const GLuint running = currentQuery(replayer, target, index);
  end();
  if (running != 0 && currentQuery(replayer, target, index) == 0) queriesOf(replayer).hasEnded(running);
}

template <typename T>
void getQueryObject(Replayer& replayer, GLuint id, GLenum pname, void(APIENTRY* get)(GLuint, GLenum, T*)) {
  if (!mayAsk(replayer)) return;
  T value = 0;
  holdGlError(replayer);
  get(queriesOf(replayer).names.find(id), pname, &value);
  if (!glRefused(replayer)) replayer.answer(&value, sizeof value);
}

// The name of a running query as the guest knows it; another value as it is.
void answerQueryFact(Replayer& replayer, GLenum pname, GLint value) {
  if (glRefused(replayer)) return;
  if (pname == GL_CURRENT_QUERY) value = static_cast<GLint>(queriesOf(replayer).names.guestOf(static_cast<GLuint>(value)));
  replayer.answer(&value, sizeof value);
}

// A result as a row; a value beyond the row's is left out, and the guest asks for all of it.
void addResult(std::vector<QueryResultRow>& rows, GLuint id, GLuint name) {
  GLuint64 value = 0;
  if (gl.glGetQueryObjectui64v != nullptr) {
    gl.glGetQueryObjectui64v(name, GL_QUERY_RESULT, &value);
  } else {
    GLuint narrow = 0;
    gl.glGetQueryObjectuiv(name, GL_QUERY_RESULT, &narrow);
    value = narrow;
  }
  if (value <= INT32_MAX) rows.push_back({id, GL_QUERY_RESULT, static_cast<int32_t>(value), 0});
}

}  // namespace

namespace replay {

void glBeginQuery(Replayer& replayer, GLenum target, GLuint id) {
  beginQuery(replayer, target, 0, id, [&](GLuint name) { gl.glBeginQuery(target, name); });
}
void glEndQuery(Replayer& replayer, GLenum target) {
  endQuery(replayer, target, 0, [&] { gl.glEndQuery(target); });
}
void glBeginQueryIndexed(Replayer& replayer, GLenum target, GLuint index, GLuint id) {
  beginQuery(replayer, target, index, id, [&](GLuint name) { gl.glBeginQueryIndexed(target, index, name); });
}
void glEndQueryIndexed(Replayer& replayer, GLenum target, GLuint index) {
  endQuery(replayer, target, index, [&] { gl.glEndQueryIndexed(target, index); });
}

void glQueryCounter(Replayer& replayer, GLuint id, GLenum target) {
  GLuint name = 0;
  if (nameOf(replayer, id, name)) gl.glQueryCounter(name, target);
}

void glDeleteQueries(Replayer& replayer, GLsizei count, Reader& rest) {
  if (count < 0) return refuse(replayer, GL_INVALID_VALUE);
  const auto ids = rest.elements<GLuint>(static_cast<uint64_t>(count));
  QueryNames& queries = queriesOf(replayer);
  for (uint64_t i = 0; i < ids.size(); ++i) {
    queries.forget(ids[i]);
    if (const GLuint name = queries.names.remove(ids[i]); name != 0) gl.glDeleteQueries(1, &name);
  }
}

void glGetQueryiv(Replayer& replayer, GLenum target, GLenum pname) {
  if (!mayAsk(replayer)) return;
  GLint value = 0;
  holdGlError(replayer);
  gl.glGetQueryiv(target, pname, &value);
  answerQueryFact(replayer, pname, value);
}
void glGetQueryIndexediv(Replayer& replayer, GLenum target, GLuint index, GLenum pname) {
  if (!mayAsk(replayer)) return;
  GLint value = 0;
  holdGlError(replayer);
  gl.glGetQueryIndexediv(target, index, pname, &value);
  answerQueryFact(replayer, pname, value);
}

void glGetQueryObjectiv(Replayer& replayer, GLuint id, GLenum pname) {
  getQueryObject(replayer, id, pname, gl.glGetQueryObjectiv);
}
void glGetQueryObjectuiv(Replayer& replayer, GLuint id, GLenum pname) {
  getQueryObject(replayer, id, pname, gl.glGetQueryObjectuiv);
}
void glGetQueryObjecti64v(Replayer& replayer, GLuint id, GLenum pname) {
  getQueryObject(replayer, id, pname, gl.glGetQueryObjecti64v);
}
void glGetQueryObjectui64v(Replayer& replayer, GLuint id, GLenum pname) {
  getQueryObject(replayer, id, pname, gl.glGetQueryObjectui64v);
}

// The result of the query that is asked for is waited for; others come along when they are there.
void qvQueryResults(Replayer& replayer, const QueryBatchRecord& record) {
  QueryNames& queries = queriesOf(replayer);
  std::vector<QueryResultRow> rows;
  const auto answer = [&] {
    const auto bytes = static_cast<int32_t>(rows.size() * sizeof(QueryResultRow));
    replayer.answer(rows.data(), static_cast<uint32_t>(bytes), &bytes, sizeof bytes);
  };
  const size_t most = std::min({record.capacity, replayer.replyRoom(), 8192u}) / sizeof(QueryResultRow);
  const GLuint name = queries.names.find(record.query);
  if (replayer.state().insideBegin || name == 0 || most == 0 || queries.isRunning(record.query)) return answer();
  // A name that no query has been begun with is none to GL.
  if (gl.glIsQuery(name) == GL_FALSE) return answer();
  addResult(rows, record.query, name);
  const std::vector<GLuint> ended = queries.ended();
  queries.forget(record.query);
  for (const GLuint id : ended) {
    if (id == record.query) continue;
    if (rows.size() >= most) break;
    GLuint available = 0;
    const GLuint other = queries.names.find(id);
    gl.glGetQueryObjectuiv(other, GL_QUERY_RESULT_AVAILABLE, &available);
    if (available == 0) continue;
    addResult(rows, id, other);
    queries.forget(id);
  }
  answer();
}

void glBeginConditionalRender(Replayer& replayer, GLuint id, GLenum mode) {
  gl.glBeginConditionalRender(queriesOf(replayer).names.find(id), mode);
}
void glBeginConditionalRenderNV(Replayer& replayer, GLuint id, GLenum mode) {
  gl.glBeginConditionalRenderNV(queriesOf(replayer).names.find(id), mode);
}

}  // namespace replay

}  // namespace qv::peer
