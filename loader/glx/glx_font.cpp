// glXUseXFont: one display list per glyph of an X font, each a bitmap and a step of the raster position.
#include <X11/Xlib.h>

#include <vector>

#include "loader/glx/contexts.h"
#include "loader/glx/glx_functions.h"
#include "loader/glx/x_error.h"
#include "loader/opengl32/opengl32.h"

namespace qv::loader::glx {
namespace {

template <typename Function>
Function* driverFunction(const char* name) {
  return reinterpret_cast<Function*>(reinterpret_cast<void*>(driverProcAddress(name)));
}

// Metrics of a character; zeros for a character that the font lacks.
XCharStruct metrics(const XFontStruct& font, unsigned code) {
  const unsigned row = code >> 8, column = code & 255;
  const bool known =
      row >= font.min_byte1 && row <= font.max_byte1 && column >= font.min_char_or_byte2 && column <= font.max_char_or_byte2;
  if (!font.per_char) return known ? font.max_bounds : XCharStruct{};
  if (!known) return {};
  const unsigned columns = font.max_char_or_byte2 - font.min_char_or_byte2 + 1;
  return font.per_char[(row - font.min_byte1) * columns + column - font.min_char_or_byte2];
}

// The glyph's pixels as glBitmap wants them: rows from the bottom, most significant bit first, each padded to a byte.
std::vector<GLubyte> glyphBits(Display* display, Pixmap pixmap, GC gc, unsigned code, const XCharStruct& size, unsigned width,
                               unsigned height) {
  XSetForeground(display, gc, 0);
  XFillRectangle(display, pixmap, gc, 0, 0, width, height);
  XSetForeground(display, gc, 1);
  XChar2b character{static_cast<unsigned char>(code >> 8), static_cast<unsigned char>(code & 255)};
  XDrawString16(display, pixmap, gc, -size.lbearing, size.ascent, &character, 1);
  std::vector<GLubyte> bits((width + 7) / 8 * height);
  XImage* const image = XGetImage(display, pixmap, 0, 0, width, height, 1, XYPixmap);
  if (!image) return bits;
  for (unsigned y = 0; y < height; ++y) {
    for (unsigned x = 0; x < width; ++x) {
      if (!XGetPixel(image, static_cast<int>(x), static_cast<int>(height - 1 - y))) continue;
      bits[y * ((width + 7) / 8) + x / 8] |= static_cast<GLubyte>(0x80 >> x % 8);
    }
  }
  XDestroyImage(image);
  return bits;
}

}  // namespace

void useXFont(Font font, int first, int count, int listBase) {
  const CurrentGlx& current = currentGlx();
  if (!current.context) return;
  Display* const display = current.display;
  const auto newList = driverFunction<decltype(glNewList)>("glNewList");
  const auto endList = driverFunction<decltype(glEndList)>("glEndList");
  const auto bitmap = driverFunction<decltype(glBitmap)>("glBitmap");
  const auto pixelStore = driverFunction<decltype(glPixelStorei)>("glPixelStorei");
  const auto pushClientAttrib = driverFunction<decltype(glPushClientAttrib)>("glPushClientAttrib");
  const auto popClientAttrib = driverFunction<decltype(glPopClientAttrib)>("glPopClientAttrib");
  if (!newList || !endList || !bitmap || !pixelStore || !pushClientAttrib || !popClientAttrib) {
    raiseError(display, BadImplementation, GlxRequest::UseXFont, font);
    return;
  }
  XFontStruct* const description = XQueryFont(display, font);
  if (!description) {
    raiseError(display, BadFont, GlxRequest::UseXFont, font);
    return;
  }
  const int screen = current.context->config->screen;
  const unsigned width = static_cast<unsigned>(description->max_bounds.rbearing - description->min_bounds.lbearing) + 1;
  const unsigned height = static_cast<unsigned>(description->max_bounds.ascent + description->max_bounds.descent) + 1;
  Pixmap const pixmap = XCreatePixmap(display, RootWindow(display, screen), width, height, 1);
  XGCValues values{};
  values.font = font;
  GC const gc = XCreateGC(display, pixmap, GCFont, &values);

  pushClientAttrib(GL_CLIENT_PIXEL_STORE_BIT);
  pixelStore(GL_UNPACK_ALIGNMENT, 1);
  for (const GLenum zero : {GL_UNPACK_ROW_LENGTH, GL_UNPACK_SKIP_ROWS, GL_UNPACK_SKIP_PIXELS, GL_UNPACK_LSB_FIRST}) {
    pixelStore(zero, 0);
  }
  for (int i = 0; i < count; ++i) {
    const XCharStruct size = metrics(*description, static_cast<unsigned>(first + i));
    const int glyphWidth = size.rbearing - size.lbearing, glyphHeight = size.ascent + size.descent;
    newList(static_cast<GLuint>(listBase + i), GL_COMPILE);
    if (glyphWidth > 0 && glyphHeight > 0) {
      const std::vector<GLubyte> bits = glyphBits(display, pixmap, gc, static_cast<unsigned>(first + i), size,
                                                  static_cast<unsigned>(glyphWidth), static_cast<unsigned>(glyphHeight));
      bitmap(glyphWidth, glyphHeight, static_cast<GLfloat>(-size.lbearing), static_cast<GLfloat>(size.descent),
             static_cast<GLfloat>(size.width), 0.0f, bits.data());
    } else {
      bitmap(0, 0, 0.0f, 0.0f, static_cast<GLfloat>(size.width), 0.0f, nullptr);
    }
    endList();
  }
  popClientAttrib();
  XFreeGC(display, gc);
  XFreePixmap(display, pixmap);
  XFreeFontInfo(nullptr, description, 1);
}

}  // namespace qv::loader::glx
