// What programs expose: active uniforms and attributes of many shapes, blocks, indices, subroutines, resources, printed.
#include "gl_shaders.h"

#include <cstdarg>
#include <cstring>
#include <set>
#include <string>

#include "picture.h"

// The order of indices is the driver's own, so the lines are told by name.
static std::set<std::string> lines;
[[gnu::format(printf, 1, 2)]] static void line(const char* format, ...) {
  char text[300];
  std::va_list arguments;
  va_start(arguments, format);
  std::vsnprintf(text, sizeof text, format, arguments);
  va_end(arguments);
  lines.insert(text);
}
static void printLines() {
  for (const std::string& text : lines) std::printf("%s\n", text.c_str());
  lines.clear();
}

static void printActive(GLuint program) {
  GLint count = 0;
  glGetProgramiv(program, GL_ACTIVE_UNIFORMS, &count);
  std::printf("uniforms: %d\n", count);
  for (GLint i = 0; i < count; ++i) {
    char name[100] = "";
    GLsizei length = 0;
    GLint size = 0, values[4] = {};
    GLenum type = 0;
    const GLuint index = static_cast<GLuint>(i);
    glGetActiveUniform(program, index, sizeof name, &length, &size, &type, name);
    const GLenum names[] = {GL_UNIFORM_NAME_LENGTH, GL_UNIFORM_BLOCK_INDEX, GL_UNIFORM_OFFSET, GL_UNIFORM_ARRAY_STRIDE};
    for (int k = 0; k < 4; ++k) glGetActiveUniformsiv(program, 1, &index, names[k], values + k);
    char again[8] = "";
    GLsizei cut = 0;
    glGetActiveUniformName(program, index, sizeof again, &cut, again);
    line("uniform %s: length %d size %d type %x location %d, %d %d %d %d, begins %s", name, length, size, type,
         glGetUniformLocation(program, name), values[0], values[1], values[2], values[3], std::string(again, 3).c_str());
    const char* wanted = name;
    GLuint found = 77;
    glGetUniformIndices(program, 1, &wanted, &found);
    line("%s found: %d, as a resource: %d", name, found == index, glGetProgramResourceIndex(program, GL_UNIFORM, name) == index);
  }
  printLines();
  glGetProgramiv(program, GL_ACTIVE_ATTRIBUTES, &count);
  std::printf("attributes: %d\n", count);
  for (GLint i = 0; i < count; ++i) {
    char name[100] = "";
    GLsizei length = 0;
    GLint size = 0;
    GLenum type = 0;
    glGetActiveAttrib(program, static_cast<GLuint>(i), sizeof name, &length, &size, &type, name);
    // Not every OpenGL puts "[0]" behind the name of an array.
    *std::strchr(std::strcat(name, "["), '[') = 0;
    line("attribute %s: size %d type %x location %d, as a resource: %d", name, size, type, glGetAttribLocation(program, name),
         glGetProgramResourceIndex(program, GL_PROGRAM_INPUT, name) == static_cast<GLuint>(i));
  }
  printLines();
  glGetProgramiv(program, GL_ACTIVE_UNIFORM_BLOCKS, &count);
  std::printf("blocks: %d\n", count);
  for (GLint i = 0; i < count; ++i) {
    const GLuint block = static_cast<GLuint>(i);
    char name[100] = "";
    GLint size = 0, uniforms = 0, indices[64] = {};
    glGetActiveUniformBlockName(program, block, sizeof name, nullptr, name);
    glGetActiveUniformBlockiv(program, block, GL_UNIFORM_BLOCK_DATA_SIZE, &size);
    glGetActiveUniformBlockiv(program, block, GL_UNIFORM_BLOCK_ACTIVE_UNIFORMS, &uniforms);
    glGetActiveUniformBlockiv(program, block, GL_UNIFORM_BLOCK_ACTIVE_UNIFORM_INDICES, indices);
    std::printf("block %s: %d, size %d, %d uniforms, index %u\n", name, i, size, uniforms, glGetUniformBlockIndex(program, name));
    for (GLint k = 0; k < uniforms; ++k) {
      glGetActiveUniformName(program, static_cast<GLuint>(indices[k]), sizeof name, nullptr, name);
      std::printf("  %s\n", name);
    }
  }
}

// A log that is longer than any buffer on its way, and its beginning in buffers that are too short for it.
static void printLongLog() {
  std::string text = "#version 120\nvoid main() {\n";
  for (int i = 0; i < 6000; ++i) text += "gl_Position = nothing_of_this_name_" + std::to_string(i) + ";\n";
  const char* const source = (text += "}").c_str();
  const GLuint shader = glCreateShader(GL_VERTEX_SHADER);
  glShaderSource(shader, 1, &source, nullptr);
  glCompileShader(shader);
  GLint room = 0;
  GLsizei length = -7;
  glGetShaderiv(shader, GL_INFO_LOG_LENGTH, &room);
  std::string log(static_cast<size_t>(room), '#');
  glGetShaderInfoLog(shader, room, &length, log.data());
  unsigned sum = 0;
  for (const char c : log) sum = sum * 31 + static_cast<unsigned char>(c);
  std::printf("log of %d bytes: %d characters, sum %x\n", room, length, sum);
  for (const GLsizei size : {16, 1, 0, -1}) {
    std::string cut(20, '#');
    length = -7;
    glGetShaderInfoLog(shader, size, &length, cut.data());
    for (char& c : cut) c = c == 0 ? '0' : c;
    std::printf("cut to %d: %d, %s, error %x\n", size, length, cut.c_str(), glGetError());
  }
  glDeleteShader(shader);
}

static void init() {
  printLongLog();
  std::printf("--- explicit locations, arrays, structures\n");
  GLuint program = linkProgram(
      "#version 430\n"
      "layout(location = 9) uniform vec4 a; layout(location = 3) uniform float b[3];\n"
      "in vec4 position; in mat3 turn[2]; in float one[1];\n"
      "void main() { gl_Position = position + a * b[0] * b[2] + vec4(turn[0][0] + turn[1][2], one[0]); }",
      "#version 430\n"
      "struct S { vec3 v; float w[2]; }; uniform S s[2]; uniform sampler2D image; uniform mat2 last; out vec4 colour;\n"
      "void main() { colour = texture(image, s[1].v.xy * last) + vec4(s[0].w[1]) + vec4(s[0].v, s[1].w[0]); }");
  printActive(program);
  for (const char* const name :
       {"s[1].w[1]", "s[1].w[2]", "s[1].w", "s[0].v", "s[2].v", "b", "b[2]", "b[3]", "turn", "turn[1]", "one"}) {
    std::printf("%s: %d %d\n", name, glGetUniformLocation(program, name), glGetAttribLocation(program, name));
  }
  std::printf("--- blocks\n");
  program = linkProgram(
      "#version 430\n"
      "layout(std140) uniform Scene { mat4 view; vec4 lights[4]; } scene; uniform float free; in vec4 position;\n"
      "void main() { gl_Position = scene.view * position + scene.lights[2] * free; }",
      "#version 430\n"
      "uniform Tint { vec4 tint; float more; }; out vec4 colour; void main() { colour = tint * more; }");
  printActive(program);
  std::printf("fragment data: %d %d\n", glGetFragDataLocation(program, "colour"), glGetFragDataIndex(program, "colour"));
  for (const GLenum kind : {GL_UNIFORM, GL_UNIFORM_BLOCK, GL_PROGRAM_INPUT, GL_PROGRAM_OUTPUT}) {
    GLint count = 0;
    glGetProgramInterfaceiv(program, kind, GL_ACTIVE_RESOURCES, &count);
    std::printf("resources of %x: %d\n", kind, count);
    for (GLint i = 0; i < count; ++i) {
      char name[100] = "";
      GLsizei length = 0, written = 0;
      glGetProgramResourceName(program, kind, static_cast<GLuint>(i), sizeof name, &length, name);
      const GLenum properties[] = {GL_NAME_LENGTH};
      GLint value[2] = {-7, -7};
      glGetProgramResourceiv(program, kind, static_cast<GLuint>(i), 1, properties, 2, &written, value);
      std::printf("%s (%d): index %u, %d values: %d %d\n", name, length, glGetProgramResourceIndex(program, kind, name), written,
                  value[0], value[1]);
    }
  }
  std::printf("--- subroutines\n");
  program = linkProgram(
      "#version 430\n"
      "in vec4 position; void main() { gl_Position = position; }",
      "#version 430\n"
      "subroutine vec4 Shade(); subroutine uniform Shade shade; out vec4 colour;\n"
      "subroutine(Shade) vec4 red() { return vec4(1, 0, 0, 1); } subroutine(Shade) vec4 green() { return vec4(0, 1, 0, 1); }\n"
      "void main() { colour = shade(); }");
  GLint stage = 0, compatible[4] = {-1, -1, -1, -1}, kinds = 0;
  glGetProgramStageiv(program, GL_FRAGMENT_SHADER, GL_ACTIVE_SUBROUTINES, &stage);
  glGetActiveSubroutineUniformiv(program, GL_FRAGMENT_SHADER, 0, GL_NUM_COMPATIBLE_SUBROUTINES, &kinds);
  glGetActiveSubroutineUniformiv(program, GL_FRAGMENT_SHADER, 0, GL_COMPATIBLE_SUBROUTINES, compatible);
  char name[20] = "", uniform[20] = "";
  GLsizei length = 0;
  glGetActiveSubroutineName(program, GL_FRAGMENT_SHADER, 1, sizeof name, &length, name);
  glGetActiveSubroutineUniformName(program, GL_FRAGMENT_SHADER, 0, sizeof uniform, nullptr, uniform);
  std::printf("%d subroutines, %d compatible: %d %d %d, the second is %s (%d), the uniform %s, location %d, index %u\n", stage,
              kinds, compatible[0], compatible[1], compatible[2], name, length, uniform,
              glGetSubroutineUniformLocation(program, GL_FRAGMENT_SHADER, "shade"),
              glGetSubroutineIndex(program, GL_FRAGMENT_SHADER, "green"));
  std::printf("--- limits and errors\n");
  GLint range[2] = {}, precision = 0;
  glGetShaderPrecisionFormat(GL_FRAGMENT_SHADER, GL_HIGH_FLOAT, range, &precision);
  std::printf("precision: %d %d %d\n", range[0], range[1], precision);
  const GLuint broken = compileShader(GL_VERTEX_SHADER, "#version 120\nvoid main() { gl_Position = nonsense; }");
  const char* parts[] = {"void ", "main() {", "}xxx"};
  const GLint lengths[] = {-1, 8, 1};
  glShaderSource(broken, 3, parts, lengths);
  char source[30] = "";
  glGetShaderSource(broken, sizeof source, &length, source);
  std::printf("source of %d: %s\n", length, source);
  glGetShaderSource(broken, 7, &length, source);
  std::printf("cut to %d: %s, behind it %s\n", length, source, source + 7);
  GLuint attached[4] = {};
  GLsizei number = 0;
  const GLuint twice = glCreateProgram();
  glAttachShader(twice, broken);
  glGetAttachedShaders(twice, 4, &number, attached);
  std::printf("attached: %d, %d\n", number, attached[0] == broken);
  glValidateProgram(program);
  std::printf("program %d, shader %d\n", glIsProgram(program), glIsShader(broken));
}

static void draw(int) {
  glClearColor(0, 0, 0, 1);
  glClear(GL_COLOR_BUFFER_BIT);
  quad(-0.5f, -0.5f, 0.5f, 0.5f);
}

extern const Picture kPicture{.init = init, .draw = draw};
