// The geometry of the animation, and the direct road to Mesa.
#include "tests/soak/scene.h"

#include <cmath>

namespace qv::test {

namespace {
constexpr float kPi = 3.14159265f;
}  // namespace

void Scene::wheel(float inner, float outer, float width, int teeth) const {
  gl_.glShadeModel(GL_FLAT);
  gl_.glNormal3f(0.0f, 0.0f, 1.0f);
  gl_.glBegin(GL_QUAD_STRIP);
  for (int i = 0; i <= 2 * teeth; ++i) {
    const float angle = static_cast<float>(i) * kPi / static_cast<float>(teeth);
    const float reach = i % 2 != 0 ? outer : outer * 1.2f;
    gl_.glVertex3f(inner * std::cos(angle), inner * std::sin(angle), width * 0.5f);
    gl_.glVertex3f(reach * std::cos(angle), reach * std::sin(angle), width * 0.5f);
  }
  gl_.glEnd();
  gl_.glShadeModel(GL_SMOOTH);
  gl_.glBegin(GL_QUAD_STRIP);
  for (int i = 0; i <= teeth; ++i) {
    const float angle = static_cast<float>(i) * 2.0f * kPi / static_cast<float>(teeth);
    gl_.glNormal3f(-std::cos(angle), -std::sin(angle), 0.0f);
    gl_.glVertex3f(inner * std::cos(angle), inner * std::sin(angle), -width * 0.5f);
    gl_.glVertex3f(inner * std::cos(angle), inner * std::sin(angle), width * 0.5f);
  }
  gl_.glEnd();
}

void Scene::ball(int rings, int sides) const {
  for (int r = 0; r < rings; ++r) {
    gl_.glBegin(GL_TRIANGLE_STRIP);
    for (int s = 0; s <= sides; ++s) {
      for (int k = 1; k >= 0; --k) {
        const float theta = static_cast<float>(r + k) * kPi / static_cast<float>(rings);
        const float phi = static_cast<float>(s) * 2.0f * kPi / static_cast<float>(sides);
        const float x = std::sin(theta) * std::cos(phi), y = std::sin(theta) * std::sin(phi), z = std::cos(theta);
        gl_.glNormal3f(x, y, z);
        gl_.glVertex3f(x, y, z);
      }
    }
    gl_.glEnd();
  }
}

void Scene::fan(int blades) const {
  gl_.glBegin(GL_TRIANGLES);
  for (int i = 0; i < blades; ++i) {
    const float angle = static_cast<float>(i) * 2.0f * kPi / static_cast<float>(blades);
    gl_.glNormal3f(std::cos(angle) * 0.6f, std::sin(angle) * 0.6f, 0.8f);
    gl_.glVertex3f(0.0f, 0.0f, 0.5f);
    gl_.glVertex3f(2.0f * std::cos(angle), 2.0f * std::sin(angle), 0.0f);
    gl_.glVertex3f(2.0f * std::cos(angle + 0.4f), 2.0f * std::sin(angle + 0.4f), 0.3f);
  }
  gl_.glEnd();
}

void Scene::init() {
  const GLfloat position[] = {5.0f, 5.0f, 10.0f, 0.0f}, second[] = {-4.0f, 0.0f, 6.0f, 1.0f};
  const GLfloat blue[] = {0.3f, 0.3f, 0.9f, 1.0f}, red[] = {0.8f, 0.1f, 0.0f, 1.0f}, green[] = {0.0f, 0.8f, 0.2f, 1.0f};
  const GLfloat white[] = {1.0f, 1.0f, 1.0f, 1.0f}, none[] = {0.0f, 0.0f, 0.0f, 1.0f};
  gl_.glLightfv(GL_LIGHT0, GL_POSITION, position);
  gl_.glLightfv(GL_LIGHT1, GL_POSITION, second);
  gl_.glLightfv(GL_LIGHT1, GL_DIFFUSE, blue);
  for (const GLenum capability : {GL_LIGHTING, GL_LIGHT0, GL_LIGHT1, GL_DEPTH_TEST, GL_NORMALIZE}) {
    gl_.glEnable(static_cast<GLenum>(capability));
  }
  lists_ = gl_.glGenLists(3);
  gl_.glNewList(lists_, GL_COMPILE);
  gl_.glMaterialfv(GL_FRONT, GL_AMBIENT_AND_DIFFUSE, red);
  gl_.glMaterialfv(GL_FRONT, GL_SPECULAR, none);
  wheel(1.0f, 3.0f, 1.0f, 12);
  gl_.glEndList();
  gl_.glNewList(lists_ + 1, GL_COMPILE);
  gl_.glMaterialfv(GL_FRONT, GL_AMBIENT_AND_DIFFUSE, green);
  gl_.glMaterialfv(GL_FRONT, GL_SPECULAR, white);
  gl_.glMaterialf(GL_FRONT, GL_SHININESS, 30.0f);
  ball(8, 12);
  gl_.glEndList();
  gl_.glNewList(lists_ + 2, GL_COMPILE);
  gl_.glPushMatrix();
  gl_.glTranslatef(-2.0f, -1.0f, 0.0f);
  gl_.glCallList(lists_);
  gl_.glTranslatef(5.0f, 2.0f, 1.0f);
  gl_.glScalef(1.5f, 1.5f, 1.5f);
  gl_.glCallList(lists_ + 1);
  gl_.glPopMatrix();
  gl_.glEndList();
}

void Scene::draw(int frame, int width, int height) const {
  const double side = static_cast<double>(width) / height;
  gl_.glViewport(0, 0, width, height);
  gl_.glMatrixMode(GL_PROJECTION);
  gl_.glLoadIdentity();
  gl_.glFrustum(-side, side, -1.0, 1.0, 5.0, 60.0);
  gl_.glMatrixMode(GL_MODELVIEW);
  gl_.glLoadIdentity();
  gl_.glTranslatef(0.0f, 0.0f, -30.0f);
  gl_.glClearColor(0.1f, 0.05f * static_cast<float>(frame % 12), 0.3f, 1.0f);
  gl_.glClear(GL_COLOR_BUFFER_BIT | GL_DEPTH_BUFFER_BIT);
  gl_.glPushMatrix();
  gl_.glRotatef(20.0f, 1.0f, 0.0f, 0.0f);
  gl_.glRotatef(static_cast<float>(frame) * 11.0f, 0.0f, 0.0f, 1.0f);
  gl_.glCallList(lists_ + 2);
  gl_.glPopMatrix();
  gl_.glPushMatrix();
  gl_.glTranslatef(-3.0f, 3.0f, 1.0f);
  gl_.glRotatef(static_cast<float>(frame) * -17.0f, 0.1f, 0.2f, 1.0f);
  fan(7);
  gl_.glPopMatrix();
}

Reference::Reference() : display_(peer::EglDisplay::get()) { EXPECT_NE(display_, nullptr); }

Reference::~Reference() {
  display_->release();
  for (const auto& [size, canvas] : canvases_) {
    display_->destroyContext(canvas.context);
    display_->destroySurface(canvas.surface);
  }
  display_->endThread();
}

Reference::Canvas& Reference::canvas(int width, int height) {
  const auto found = canvases_.find({width, height});
  if (found != canvases_.end()) {
    EXPECT_TRUE(display_->makeCurrent(found->second.surface, found->second.context));
    return found->second;
  }
  peer::DrawableAttributes attributes;
  attributes.doubleBuffered = true;
  attributes.version = 210;
  attributes.profileMask = 2;
  Canvas made{display_->createSurface(attributes, width, height), display_->createContext(attributes, EGL_NO_CONTEXT),
              Scene(peer::gl)};
  EXPECT_TRUE(display_->makeCurrent(made.surface, made.context));
  made.scene.init();
  return canvases_.emplace(std::pair(width, height), made).first->second;
}

Picture Reference::draw(int frame, int width, int height) {
  canvas(width, height).scene.draw(frame, width, height);
  Picture picture{static_cast<uint32_t>(width), static_cast<uint32_t>(height), {}};
  std::vector<uint32_t> rows(static_cast<size_t>(width) * static_cast<size_t>(height));
  peer::gl.glReadPixels(0, 0, width, height, GL_BGRA, GL_UNSIGNED_BYTE, rows.data());
  for (int y = height - 1; y >= 0; --y) {  // OpenGL's rows come bottom-up
    for (int x = 0; x < width; ++x) {
      picture.pixels.push_back(rows[static_cast<size_t>(y) * static_cast<size_t>(width) + static_cast<size_t>(x)] & 0xFFFFFF);
    }
  }
  EXPECT_EQ(peer::gl.glGetError(), 0u);
  return picture;
}

}  // namespace qv::test
