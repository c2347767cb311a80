// The stubs of functions on primitives, lists, client arrays, bindings, and of the queries that the peer itself makes.
#include "fuzz/stub_gl/stub_state.h"

#include "fuzz/core/require.h"
#include "peer/replay/gl_functions.h"

namespace qv::fuzz {
namespace {

using peer::gl;

// --- primitives and lists ---

void APIENTRY begin(GLenum mode) {
  if (mode > GL_PATCHES) return;
  if (stub.listOpen) ++stub.listPrimitives;
  if (!stub.listOpen || stub.listExecutes) stub.insideBegin = true;
}
void APIENTRY end() {
  if (stub.listOpen) --stub.listPrimitives;
  if (!stub.listOpen || stub.listExecutes) stub.insideBegin = false;
}
void APIENTRY newList(GLuint list, GLenum mode) {
  if (list == 0 || stub.listOpen || stub.insideBegin || (mode != GL_COMPILE && mode != GL_COMPILE_AND_EXECUTE)) return;
  stub.listOpen = true;
  stub.listExecutes = mode == GL_COMPILE_AND_EXECUTE;
  stub.listPrimitives = 0;
}
void APIENTRY endList() {
  if (stub.listOpen && stub.listPrimitives != 0) stub.unbalancedLists = true;
  stub.listOpen = false;
}
void listCalled() {
  if (stub.unbalancedLists && (!stub.listOpen || stub.listExecutes)) stub.insideBegin = stub.random.oneIn(2);
}
void APIENTRY callList(GLuint) { listCalled(); }
void APIENTRY callLists(GLsizei count, GLenum type, const void* names) {
  if (count > 0) readMemory(names, static_cast<uint64_t>(count) * listNameBytes(type));
  listCalled();
}
GLuint APIENTRY genLists(GLsizei) { return stub.random.below(8); }

GLenum APIENTRY getError() {
  static constexpr GLenum kErrors[] = {GL_INVALID_ENUM, GL_INVALID_VALUE, GL_INVALID_OPERATION, GL_OUT_OF_MEMORY};
  return stub.random.oneIn(4) ? stub.random.of(kErrors) : GL_NO_ERROR;
}

// --- client arrays ---

StubArray* arrayOf(GLenum name) {
  switch (name) {
    case GL_VERTEX_ARRAY:
      return &stub.arrays[0];
    case GL_NORMAL_ARRAY:
      return &stub.arrays[1];
    case GL_COLOR_ARRAY:
      return &stub.arrays[2];
    case GL_TEXTURE_COORD_ARRAY:
      return &stub.arrays[3 + stub.clientUnit];
    default:
      return nullptr;
  }
}
void APIENTRY enableClientState(GLenum name) {
  if (StubArray* const array = arrayOf(name)) array->enabled = true;
}
void APIENTRY disableClientState(GLenum name) {
  if (StubArray* const array = arrayOf(name)) array->enabled = false;
}
// An OpenGL may take client arrays for capabilities.
void APIENTRY enable(GLenum name) { enableClientState(name); }
void APIENTRY disable(GLenum name) { disableClientState(name); }
void APIENTRY clientActiveTexture(GLenum unit) {
  if (unit - GL_TEXTURE0 < 8) stub.clientUnit = unit - GL_TEXTURE0;
}
void setPointer(GLenum name, GLint components, GLenum type, GLsizei stride, const void* pointer) {
  require(stub.arrayBuffer == 0 || pointer == nullptr, "a client array is set while a buffer is bound");
  StubArray& array = *arrayOf(name);
  array = {array.enabled, components, type, stride, static_cast<const uint8_t*>(pointer)};
}
void APIENTRY vertexPointer(GLint components, GLenum type, GLsizei stride, const void* pointer) {
  setPointer(GL_VERTEX_ARRAY, components, type, stride, pointer);
}
void APIENTRY normalPointer(GLenum type, GLsizei stride, const void* pointer) {
  setPointer(GL_NORMAL_ARRAY, 3, type, stride, pointer);
}
void APIENTRY colorPointer(GLint components, GLenum type, GLsizei stride, const void* pointer) {
  setPointer(GL_COLOR_ARRAY, components, type, stride, pointer);
}
void APIENTRY texCoordPointer(GLint components, GLenum type, GLsizei stride, const void* pointer) {
  setPointer(GL_TEXTURE_COORD_ARRAY, components, type, stride, pointer);
}

uint64_t typeBytes(GLenum type) {
  switch (type) {
    case GL_DOUBLE:
      return 8;
    case GL_SHORT:
    case GL_UNSIGNED_SHORT:
      return 2;
    case GL_BYTE:
    case GL_UNSIGNED_BYTE:
      return 1;
    default:
      return 4;
  }
}

void APIENTRY drawArrays(GLenum mode, GLint first, GLsizei count) {
  if (stub.insideBegin || mode > GL_PATCHES || first < 0 || count <= 0) return;
  for (const StubArray& array : stub.arrays) {
    if (!array.enabled) continue;
    const uint64_t element = static_cast<uint64_t>(array.components) * typeBytes(array.type);
    const uint64_t stride = array.stride != 0 ? static_cast<uint64_t>(array.stride) : element;
    // All of a vertex array is read; padding between elements is not.
    for (int64_t i = first; i < int64_t{first} + count; ++i)
      readMemory(array.pointer + static_cast<uint64_t>(i) * stride, element);
  }
}

// --- bindings ---

void APIENTRY bindBuffer(GLenum target, GLuint buffer) {
  if (stub.insideBegin) return;
  if (target == GL_ARRAY_BUFFER) stub.arrayBuffer = buffer;
  if (target == GL_PIXEL_PACK_BUFFER) stub.packBuffer = buffer;
  if (target == GL_PIXEL_UNPACK_BUFFER) stub.unpackBuffer = buffer;
}
void APIENTRY bindFramebuffer(GLenum target, GLuint framebuffer) {
  if (target != GL_READ_FRAMEBUFFER) stub.drawFramebuffer = framebuffer;
  if (target != GL_DRAW_FRAMEBUFFER) stub.readFramebuffer = framebuffer;
}
void APIENTRY pixelStorei(GLenum name, GLint value) { setPixelStore(stub.store, name, value); }
void APIENTRY pixelStoref(GLenum name, GLfloat value) {
  if (value > -1e6f && value < 1e6f) setPixelStore(stub.store, name, static_cast<GLint>(value));
}

// --- queries whose answers the peer uses ---

constexpr int kUnknown = -1;

// How many values there are, and the first where the stub keeps it.
int knownValues(GLenum name, int64_t& first) {
  first = stub.random.oneIn(8) ? stub.random.below(70) : 0;
  switch (name) {
    case GL_ARRAY_BUFFER_BINDING:
      first = stub.arrayBuffer;
      return 1;
    case GL_PIXEL_PACK_BUFFER_BINDING:
      first = stub.packBuffer;
      return 1;
    case GL_PIXEL_UNPACK_BUFFER_BINDING:
      first = stub.unpackBuffer;
      return 1;
    case GL_ELEMENT_ARRAY_BUFFER_BINDING:
    case GL_TRANSFORM_FEEDBACK_BUFFER_BINDING:
    case GL_UNIFORM_BUFFER_BINDING:
    case GL_TEXTURE_BUFFER:
    case GL_COPY_READ_BUFFER:
    case GL_COPY_WRITE_BUFFER:
    case GL_DRAW_INDIRECT_BUFFER_BINDING:
    case GL_ATOMIC_COUNTER_BUFFER_BINDING:
    case GL_SHADER_STORAGE_BUFFER_BINDING:
    case GL_DISPATCH_INDIRECT_BUFFER_BINDING:
    case GL_PRIMITIVE_RESTART_INDEX:
      return 1;
    case GL_READ_FRAMEBUFFER_BINDING:
      first = stub.readFramebuffer;
      return 1;
    case GL_DRAW_FRAMEBUFFER_BINDING:
      first = stub.drawFramebuffer;
      return 1;
    case GL_PACK_ALIGNMENT:
      first = stub.store.pack.alignment;
      return 1;
    case GL_PACK_ROW_LENGTH:
      first = stub.store.pack.rowLength;
      return 1;
    case GL_PACK_SKIP_ROWS:
      first = stub.store.pack.skipRows;
      return 1;
    case GL_PACK_SKIP_PIXELS:
      first = stub.store.pack.skipPixels;
      return 1;
    case GL_UNPACK_ALIGNMENT:
      first = stub.store.unpack.alignment;
      return 1;
    case GL_UNPACK_ROW_LENGTH:
      first = stub.store.unpack.rowLength;
      return 1;
    case GL_POLYGON_MODE:
      first = stub.random.oneIn(4) ? GL_LINE : GL_FILL;
      return 2;
    case GL_SHADE_MODEL:
      first = stub.random.oneIn(2) ? GL_FLAT : GL_SMOOTH;
      return 1;
    case GL_PROVOKING_VERTEX:
      first = stub.random.oneIn(2) ? GL_FIRST_VERTEX_CONVENTION : GL_LAST_VERTEX_CONVENTION;
      return 1;
    case GL_VIEWPORT:
    case GL_SCISSOR_BOX: {
      static constexpr int64_t kPlaces[] = {0, 1, -1, 40, 0x7FFFFFFF, -0x80000000LL};
      first = stub.random.of(kPlaces);
      return 4;
    }
    case GL_COLOR_WRITEMASK:
    case GL_ACCUM_CLEAR_VALUE:
      return 4;
    default:
      return kUnknown;
  }
}

// Names that have one value; a query by one of these is handed room for one.
bool hasOneValue(GLenum name) {
  return (name >= GL_PACK_SWAP_BYTES && name <= GL_PACK_ALIGNMENT) ||
         (name >= GL_UNPACK_SWAP_BYTES && name <= GL_UNPACK_ALIGNMENT) || (name >= GL_MAP_COLOR && name <= GL_DEPTH_BIAS) ||
         name == GL_DRAW_BUFFER || name == GL_READ_BUFFER || name == GL_CURRENT_PROGRAM || name == GL_PROGRAM_PIPELINE_BINDING ||
         name == GL_DRAW_FRAMEBUFFER_BINDING || name == GL_READ_FRAMEBUFFER_BINDING || name == GL_PRIMITIVE_RESTART_INDEX ||
         (name >= GL_PIXEL_MAP_I_TO_I_SIZE && name <= GL_PIXEL_MAP_A_TO_A_SIZE) || name == GL_NUM_EXTENSIONS ||
         name == GL_TEXTURE_BINDING_1D || name == GL_TEXTURE_BINDING_2D || name == GL_TEXTURE_BINDING_3D ||
         name == GL_TEXTURE_BINDING_RECTANGLE || name == GL_TEXTURE_BINDING_CUBE_MAP || name == GL_TEXTURE_BINDING_1D_ARRAY ||
         name == GL_TEXTURE_BINDING_2D_ARRAY || name == GL_TEXTURE_BINDING_CUBE_MAP_ARRAY || name == GL_TEXTURE_BINDING_BUFFER ||
         name == GL_RENDERBUFFER_BINDING || name == GL_ACTIVE_TEXTURE || name == GL_ATTRIB_STACK_DEPTH ||
         name == GL_TRANSFORM_FEEDBACK_BINDING || name == GL_TEXTURE_BINDING_2D_MULTISAMPLE ||
         name == GL_TEXTURE_BINDING_2D_MULTISAMPLE_ARRAY || name == GL_MAX_PIXEL_MAP_TABLE ||
         name == GL_MAX_ATTRIB_STACK_DEPTH || name == 0x8758 /* GL_PACK_INVERT_MESA */;
}

template <typename T>
void APIENTRY get(GLenum name, T* out) {
  if (stub.insideBegin) return;
  int64_t first = 0;
  int values = knownValues(name, first);
  if (values == kUnknown) {
    values = hasOneValue(name)        ? 1
             : stub.random.oneIn(256) ? static_cast<int>(65536 / sizeof(T))
                                      : 1 + static_cast<int>(stub.random.below(16));
    if (!hasOneValue(name)) writeMemory(out, static_cast<uint64_t>(values) * sizeof(T));
    if (hasOneValue(name)) *out = static_cast<T>(first);
    return;
  }
  for (int i = 0; i < values; ++i) {
    out[i] = static_cast<T>(first);
    first = name == GL_SCISSOR_BOX ? stub.random.below(100) : first;
  }
}

// Every parameter of a level has one value.
template <typename T>
void APIENTRY getLevelParameter(GLenum, GLint, GLenum, T* out) {
  if (!stub.insideBegin) writeMemory(out, sizeof *out);
}

// Two parameters of a texture have four values.
void APIENTRY getTexParameter(GLenum, GLenum name, GLint* out) {
  const bool four = name == GL_TEXTURE_BORDER_COLOR || name == GL_TEXTURE_SWIZZLE_RGBA;
  if (!stub.insideBegin) writeMemory(out, (four ? 4 : 1) * sizeof *out);
}

// The parameters of tables and filters that the peer asks for have one value.
template <typename T>
void APIENTRY getParameter(GLenum, GLenum, T* out) {
  if (!stub.insideBegin) writeMemory(out, sizeof *out);
}

// No program is linked; so what lists the resources of one asks nothing else. Names that the peer asks by itself have one value.
void APIENTRY getProgramParameter(GLuint, GLenum name, GLint* out) {
  switch (name) {
    case GL_LINK_STATUS:
      *out = GL_FALSE;
      return;
    case GL_TRANSFORM_FEEDBACK_VARYING_MAX_LENGTH:
    case GL_ATTACHED_SHADERS:
    case GL_INFO_LOG_LENGTH:
      return writeMemory(out, sizeof *out);
    default:
      return writeMemory(out, (stub.random.oneIn(256) ? 16384 : 1 + stub.random.below(16)) * sizeof *out);
  }
}

const GLubyte* APIENTRY getString(GLenum) {
  static constexpr const char* kTexts[] = {"4.5 (Compatibility Profile) Mesa 22", "4.5 (Core Profile) Mesa 22",
                                           "GL_ARB_a GL_EXT_b", ""};
  if (stub.tellsVersion) return reinterpret_cast<const GLubyte*>(kTexts[0]);
  if (stub.random.oneIn(8)) return nullptr;
  return reinterpret_cast<const GLubyte*>(stub.random.of(kTexts));
}
const GLubyte* APIENTRY getStringi(GLenum, GLuint) {
  return stub.random.oneIn(8) ? nullptr : reinterpret_cast<const GLubyte*>("GL_ARB_one");
}

}  // namespace

void installStubState() {
  gl.glBegin = &begin;
  gl.glEnd = &end;
  gl.glNewList = &newList;
  gl.glEndList = &endList;
  gl.glCallList = &callList;
  gl.glCallLists = &callLists;
  gl.glGenLists = &genLists;
  gl.glGetError = &getError;
  gl.glEnableClientState = &enableClientState;
  gl.glDisableClientState = &disableClientState;
  gl.glEnable = &enable;
  gl.glDisable = &disable;
  gl.glClientActiveTexture = &clientActiveTexture;
  gl.glVertexPointer = &vertexPointer;
  gl.glNormalPointer = &normalPointer;
  gl.glColorPointer = &colorPointer;
  gl.glTexCoordPointer = &texCoordPointer;
  gl.glDrawArrays = &drawArrays;
  gl.glBindBuffer = &bindBuffer;
  gl.glBindFramebuffer = &bindFramebuffer;
  gl.glPixelStorei = &pixelStorei;
  gl.glPixelStoref = &pixelStoref;
  gl.glGetBooleanv = &get<GLboolean>;
  gl.glGetIntegerv = &get<GLint>;
  gl.glGetFloatv = &get<GLfloat>;
  gl.glGetDoublev = &get<GLdouble>;
  gl.glGetInteger64v = &get<GLint64>;
  gl.glGetTexParameteriv = &getTexParameter;
  gl.glGetTexLevelParameteriv = &getLevelParameter<GLint>;
  gl.glGetTexLevelParameterfv = &getLevelParameter<GLfloat>;
  gl.glGetBufferParameteriv = &getParameter<GLint>;
  gl.glGetColorTableParameteriv = &getParameter<GLint>;
  gl.glGetProgramiv = &getProgramParameter;
  gl.glGetConvolutionParameteriv = &getParameter<GLint>;
  gl.glGetHistogramParameteriv = &getParameter<GLint>;
  gl.glGetMinmaxParameteriv = &getParameter<GLint>;
  gl.glGetString = &getString;
  gl.glGetStringi = &getStringi;
}

}  // namespace qv::fuzz
