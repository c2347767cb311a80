// What old programs draw by the utility library and the toolkit: trimmed NURBS, quadrics, tessellated polygons, mipmaps, picking
// with a pick matrix, bitmap and stroke fonts, places in space.
#include <GL/freeglut.h>
#include <GL/glu.h>

#include <cmath>
#include <iterator>

#include "picture.h"

namespace {

using Callback = void (*)();

GLUnurbs* nurbs = nullptr;
GLUquadric* quadric = nullptr;
GLUtesselator* tesselator = nullptr;
GLuint font = 0, checks = 0;

void makeFont() {
  font = glGenLists(128);
  for (int character = 32; character < 127; ++character) {
    glNewList(font + static_cast<GLuint>(character), GL_COMPILE);
    glutBitmapCharacter(GLUT_BITMAP_HELVETICA_12, character);
    glEndList();
  }
}

void makeTexture() {
  GLubyte image[24][20][3];  // sizes that the library must scale
  for (int y = 0; y < 24; ++y) {
    for (int x = 0; x < 20; ++x) {
      image[y][x][0] = static_cast<GLubyte>(((x / 5 + y / 6) & 1) * 255);
      image[y][x][1] = static_cast<GLubyte>(x * 12);
      image[y][x][2] = static_cast<GLubyte>(y * 10);
    }
  }
  glGenTextures(1, &checks);
  glBindTexture(GL_TEXTURE_2D, checks);
  glPixelStorei(GL_UNPACK_ALIGNMENT, 1);
  glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MIN_FILTER, GL_NEAREST_MIPMAP_NEAREST);
  glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MAG_FILTER, GL_NEAREST);
  gluBuild2DMipmaps(GL_TEXTURE_2D, GL_RGB, 20, 24, GL_RGB, GL_UNSIGNED_BYTE, image);
}

void init() {
  int arguments = 1;
  char name[] = "picture";
  char* values[] = {name, nullptr};
  glutInit(&arguments, values);
  nurbs = gluNewNurbsRenderer();
  quadric = gluNewQuadric();
  tesselator = gluNewTess();
  makeFont();
  makeTexture();
}

// The cell of a grid of three by two, seen in perspective.
void enterCell(int column, int row) {
  glViewport(column * 80, row * 90, 80, 90);
  glMatrixMode(GL_PROJECTION);
  glLoadIdentity();
  gluPerspective(40.0, 80.0 / 90.0, 1.0, 20.0);
  glMatrixMode(GL_MODELVIEW);
  glLoadIdentity();
  gluLookAt(0.0, 2.0, 5.0, 0.0, 0.0, 0.0, 0.0, 1.0, 0.0);
}

void light() {
  const GLfloat position[] = {1.0f, 2.0f, 3.0f, 0.0f};
  glLightfv(GL_LIGHT0, GL_POSITION, position);
  glEnable(GL_LIGHT0);
  glEnable(GL_LIGHTING);
  glEnable(GL_NORMALIZE);
  glEnable(GL_AUTO_NORMAL);
  glLightModeli(GL_LIGHT_MODEL_TWO_SIDE, 1);
}

void drawSurface(bool trimmed) {
  GLfloat knots[] = {0.0f, 0.0f, 0.0f, 0.0f, 1.0f, 1.0f, 1.0f, 1.0f};
  GLfloat points[4][4][3];
  for (int u = 0; u < 4; ++u) {
    for (int v = 0; v < 4; ++v) {
      points[u][v][0] = static_cast<float>(u) - 1.5f;
      points[u][v][1] = (u == 1 || u == 2) && (v == 1 || v == 2) ? 1.5f : -0.5f;
      points[u][v][2] = static_cast<float>(v) - 1.5f;
    }
  }
  GLfloat border[][2] = {{0.0f, 0.0f}, {1.0f, 0.0f}, {1.0f, 1.0f}, {0.0f, 1.0f}, {0.0f, 0.0f}};
  GLfloat hole[][2] = {{0.3f, 0.3f}, {0.3f, 0.7f}, {0.7f, 0.7f}, {0.7f, 0.3f}, {0.3f, 0.3f}};
  glRotatef(45.0f, 1.0f, 0.0f, 0.0f);
  gluNurbsProperty(nurbs, GLU_SAMPLING_TOLERANCE, 8.0f);
  gluNurbsProperty(nurbs, GLU_DISPLAY_MODE, GLU_FILL);
  gluBeginSurface(nurbs);
  gluNurbsSurface(nurbs, 8, knots, 8, knots, 12, 3, &points[0][0][0], 4, 4, GL_MAP2_VERTEX_3);
  if (trimmed) {
    gluBeginTrim(nurbs);
    gluPwlCurve(nurbs, 5, &border[0][0], 2, GLU_MAP1_TRIM_2);
    gluEndTrim(nurbs);
    gluBeginTrim(nurbs);
    gluPwlCurve(nurbs, 5, &hole[0][0], 2, GLU_MAP1_TRIM_2);
    gluEndTrim(nurbs);
  }
  gluEndSurface(nurbs);
}

void drawQuadrics() {
  gluQuadricTexture(quadric, GL_TRUE);
  gluQuadricNormals(quadric, GLU_SMOOTH);
  gluQuadricDrawStyle(quadric, GLU_FILL);
  glEnable(GL_TEXTURE_2D);
  glPushMatrix();
  glTranslatef(-0.6f, 0.2f, 0.0f);
  gluSphere(quadric, 0.7, 12, 8);
  glTranslatef(1.3f, 0.4f, 0.0f);
  glRotatef(80.0f, 1.0f, 0.2f, 0.0f);
  gluCylinder(quadric, 0.5, 0.3, 1.2, 10, 3);
  glPopMatrix();
  glDisable(GL_TEXTURE_2D);
  glDisable(GL_LIGHTING);
  glPushMatrix();
  glTranslatef(0.0f, -1.0f, 0.5f);
  glColor3f(1.0f, 1.0f, 0.3f);
  gluQuadricDrawStyle(quadric, GLU_SILHOUETTE);
  gluPartialDisk(quadric, 0.3, 0.8, 8, 2, 20.0, 200.0);
  glPopMatrix();
}

// A star with a hole: its lines cross, so that the library makes vertices of its own.
void drawStar() {
  static GLdouble corners[9][6];
  static GLdouble made[16][6];
  static int used = 0;
  used = 0;
  for (int i = 0; i < 5; ++i) {
    const double angle = i * 4.0 * 3.14159265358979 / 5.0;
    const GLdouble corner[] = {1.5 * std::sin(angle), 1.5 * std::cos(angle), 0.0, i / 4.0, 1.0 - i / 4.0, 0.5};
    for (int k = 0; k < 6; ++k) corners[i][k] = corner[k];
  }
  for (int i = 0; i < 4; ++i) {
    const GLdouble corner[] = {i % 3 == 0 ? -0.25 : 0.25, i < 2 ? -0.25 : 0.25, 0.0, 1.0, 1.0, 1.0};
    for (int k = 0; k < 6; ++k) corners[5 + i][k] = corner[k];
  }
  const auto vertex = +[](void* data) {
    const auto* const values = static_cast<const GLdouble*>(data);
    glColor3dv(values + 3);
    glVertex3dv(values);
  };
  const auto combine = +[](GLdouble at[3], void* data[4], GLfloat weight[4], void** out) {
    GLdouble* const values = made[used++ % 16];
    for (int k = 0; k < 3; ++k) values[k] = at[k];
    for (int k = 3; k < 6; ++k) {
      values[k] = 0.0;
      for (int i = 0; i < 4; ++i)
        if (data[i] != nullptr) values[k] += static_cast<double>(weight[i]) * static_cast<GLdouble*>(data[i])[k];
    }
    *out = values;
  };
  gluTessCallback(tesselator, GLU_TESS_BEGIN, reinterpret_cast<Callback>(&glBegin));
  gluTessCallback(tesselator, GLU_TESS_END, reinterpret_cast<Callback>(&glEnd));
  gluTessCallback(tesselator, GLU_TESS_VERTEX, reinterpret_cast<Callback>(vertex));
  gluTessCallback(tesselator, GLU_TESS_COMBINE, reinterpret_cast<Callback>(combine));
  gluTessProperty(tesselator, GLU_TESS_WINDING_RULE, GLU_TESS_WINDING_ODD);
  gluTessBeginPolygon(tesselator, nullptr);
  gluTessBeginContour(tesselator);
  for (int i = 0; i < 5; ++i) gluTessVertex(tesselator, corners[i], corners[i]);
  gluTessEndContour(tesselator);
  gluTessBeginContour(tesselator);
  for (int i = 5; i < 9; ++i) gluTessVertex(tesselator, corners[i], corners[i]);
  gluTessEndContour(tesselator);
  gluTessEndPolygon(tesselator);
}

void drawPieces() {
  for (GLuint piece = 0; piece < 9; ++piece) {
    glLoadName(piece);
    glPushMatrix();
    glTranslated(piece % 3 * 1.1 - 1.1, piece / 3 * 1.1 - 1.1, 0.0);
    glRectf(-0.4f, -0.4f, 0.4f, 0.4f);
    glPopMatrix();
  }
}

// What lies under a point of the cell is drawn in another colour.
void drawPicked() {
  GLuint hits[64] = {};
  GLint viewport[4];
  glGetIntegerv(GL_VIEWPORT, viewport);
  glSelectBuffer(static_cast<GLsizei>(std::size(hits)), hits);
  glRenderMode(GL_SELECT);
  glInitNames();
  glPushName(99);
  glMatrixMode(GL_PROJECTION);
  glPushMatrix();
  glLoadIdentity();
  gluPickMatrix(viewport[0] + 52.0, viewport[1] + 45.0, 22.0, 4.0, viewport);
  gluPerspective(40.0, 80.0 / 90.0, 1.0, 20.0);
  glMatrixMode(GL_MODELVIEW);
  drawPieces();
  glMatrixMode(GL_PROJECTION);
  glPopMatrix();
  glMatrixMode(GL_MODELVIEW);
  const GLint found = glRenderMode(GL_RENDER);
  glColor3f(0.2f, 0.4f, 0.6f);
  drawPieces();
  glColor3f(1.0f, 0.6f, 0.0f);
  for (GLint i = 0; i < found; ++i) {
    const GLuint piece = hits[4 * i + 3];
    glPushMatrix();
    glTranslated(piece % 3 * 1.1 - 1.1, piece / 3 * 1.1 - 1.1, 0.1);
    glRectf(-0.3f, -0.3f, 0.3f, 0.3f);
    glPopMatrix();
  }
}

void write(const char* text, GLsizei length) {
  glPushAttrib(GL_LIST_BIT);
  glListBase(font);
  glCallLists(length, GL_UNSIGNED_BYTE, text);
  glPopAttrib();
}

void drawTexts() {
  glDisable(GL_DEPTH_TEST);
  glColor3f(0.6f, 1.0f, 0.6f);
  glRasterPos3f(-1.6f, 1.0f, 0.0f);
  write("Lists: gj", 9);
  glColor3f(1.0f, 0.7f, 0.7f);
  glRasterPos3f(-1.6f, 0.2f, 0.0f);
  glutBitmapString(GLUT_BITMAP_TIMES_ROMAN_10, reinterpret_cast<const unsigned char*>("by calls\n& a line"));
  glEnable(GL_LINE_SMOOTH);
  glPushMatrix();
  glTranslatef(-1.6f, -1.2f, 0.0f);
  glScalef(0.008f, 0.008f, 0.008f);
  glutStrokeString(GLUT_STROKE_ROMAN, reinterpret_cast<const unsigned char*>("Qr4"));
  glPopMatrix();
  glDisable(GL_LINE_SMOOTH);
}

// Points at the places in space that lie behind points of the window.
void drawUnprojected() {
  GLint viewport[4];
  GLdouble modelview[16], projection[16];
  glGetIntegerv(GL_VIEWPORT, viewport);
  glGetDoublev(GL_MODELVIEW_MATRIX, modelview);
  glGetDoublev(GL_PROJECTION_MATRIX, projection);
  glPointSize(3.0f);
  glBegin(GL_POINTS);
  for (int i = 0; i < 6; ++i) {
    GLdouble x = 0.0, y = 0.0, z = 0.0;
    gluUnProject(viewport[0] + 10.5 + 12 * i, viewport[1] + 80.5, 0.8, modelview, projection, viewport, &x, &y, &z);
    glColor3d(i / 5.0, 1.0, 0.3);
    glVertex3d(x, y, z);
  }
  glEnd();
}

void draw(int) {
  glViewport(0, 0, 240, 180);
  glClearColor(0.1f, 0.1f, 0.2f, 1.0f);
  glClear(GL_COLOR_BUFFER_BIT | GL_DEPTH_BUFFER_BIT);
  for (int cell = 0; cell < 6; ++cell) {
    glPushAttrib(GL_ALL_ATTRIB_BITS);
    enterCell(cell % 3, cell / 3);
    glEnable(GL_DEPTH_TEST);
    switch (cell) {
      case 0:
      case 1:
        light();
        drawSurface(cell == 1);
        break;
      case 2:
        light();
        drawQuadrics();
        break;
      case 3:
        drawStar();
        drawUnprojected();
        break;
      case 4:
        drawPicked();
        break;
      default:
        drawTexts();
        break;
    }
    glPopAttrib();
  }
}

}  // namespace

const Picture kPicture = {.init = init, .draw = draw};
