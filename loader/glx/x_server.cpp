// The connection itself: geometry by events, so that a frame costs no round trip to the server.
#include "loader/glx/x_server.h"

#include <cstdlib>
#include <memory>

#include "loader/glx/environment.h"

namespace qv::loader {
namespace {

template <typename T>
using Reply = std::unique_ptr<T, decltype(&std::free)>;

template <typename T>
Reply<T> own(T* reply) {
  return Reply<T>(reply, &std::free);
}

}  // namespace

XServer* XServer::get(const std::string& displayName) {
  // Never destroyed: presents may come until the process ends.
  static auto* const servers = new std::map<std::string, XServer*>;
  static std::mutex mutex;
  const std::lock_guard hold(mutex);
  const auto known = servers->find(displayName);
  if (known != servers->end()) return known->second;
  xcb_connection_t* const connection = xcb_connect(displayName.empty() ? nullptr : displayName.c_str(), nullptr);
  if (xcb_connection_has_error(connection)) {
    xcb_disconnect(connection);
    return nullptr;
  }
  return (*servers)[displayName] = new XServer(connection, environment().useShm);
}

XServer::XServer(xcb_connection_t* connection, bool useShm) : connection_(connection) {
  const xcb_query_extension_reply_t* const extension = xcb_get_extension_data(connection_, &xcb_shm_id);
  if (!useShm || !extension || !extension->present) return;
  const auto version = own(xcb_shm_query_version_reply(connection_, xcb_shm_query_version(connection_), nullptr));
  // 1.2 brought segments by file descriptor.
  if (!version || version->major_version != 1 || version->minor_version < 2) return;
  shm_ = true;
  completionEvent_ = static_cast<uint8_t>(extension->first_event + XCB_SHM_COMPLETION);
}

const xcb_screen_t* XServer::screen(int number) const {
  xcb_screen_iterator_t at = xcb_setup_roots_iterator(xcb_get_setup(connection_));
  for (; at.rem && number > 0; --number) xcb_screen_next(&at);
  return at.rem ? at.data : nullptr;
}

bool XServer::takesPixels(int depth) const {
  const xcb_setup_t* const setup = xcb_get_setup(connection_);
  if (setup->image_byte_order != XCB_IMAGE_ORDER_LSB_FIRST) return false;
  for (xcb_format_iterator_t at = xcb_setup_pixmap_formats_iterator(setup); at.rem; xcb_format_next(&at)) {
    if (at.data->depth == depth) return at.data->bits_per_pixel == 32 && at.data->scanline_pad == 32;
  }
  return false;
}

bool XServer::query(xcb_drawable_t drawable, WindowGeometry* geometry, int* depth, xcb_visualid_t* visual) {
  const auto geometryCookie = xcb_get_geometry(connection_, drawable);
  const auto attributesCookie = xcb_get_window_attributes(connection_, drawable);
  const auto size = own(xcb_get_geometry_reply(connection_, geometryCookie, nullptr));
  xcb_generic_error_t* error = nullptr;
  const auto attributes = own(xcb_get_window_attributes_reply(connection_, attributesCookie, &error));
  std::free(error);  // a pixmap has no window attributes
  if (!size) return false;
  geometry->width = size->width;
  geometry->height = size->height;
  geometry->mapped = !attributes || attributes->map_state != XCB_MAP_STATE_UNMAPPED;
  if (depth) *depth = size->depth;
  if (visual) *visual = attributes ? attributes->visual : 0;
  if (attributes) {
    const auto place = own(xcb_translate_coordinates_reply(
        connection_, xcb_translate_coordinates(connection_, drawable, size->root, 0, 0), nullptr));
    if (place) {
      geometry->x = place->dst_x;
      geometry->y = place->dst_y;
    }
  }
  return true;
}

bool XServer::watch(xcb_window_t window, WindowGeometry* geometry) {
  const uint32_t mask = XCB_EVENT_MASK_STRUCTURE_NOTIFY;
  // Selected before the query, so that no change falls between the two.
  auto error =
      own(xcb_request_check(connection_, xcb_change_window_attributes_checked(connection_, window, XCB_CW_EVENT_MASK, &mask)));
  if (error) return false;
  const auto tree = own(xcb_query_tree_reply(connection_, xcb_query_tree(connection_, window), nullptr));
  Watched watched;
  if (!tree || !query(window, &watched.geometry, nullptr, nullptr)) return false;
  watched.parentIsRoot = tree->parent == tree->root;
  *geometry = watched.geometry;
  const std::lock_guard hold(mutex_);
  watched_[window] = watched;
  return true;
}

void XServer::unwatch(xcb_window_t window) {
  const std::lock_guard hold(mutex_);
  const auto at = watched_.find(window);
  if (at == watched_.end()) return;
  if (at->second.geometry.exists) {
    const uint32_t none = 0;
    xcb_change_window_attributes(connection_, window, XCB_CW_EVENT_MASK, &none);
    xcb_flush(connection_);
  }
  watched_.erase(at);
}

bool XServer::takeChange(xcb_window_t window, WindowGeometry* geometry) {
  const std::lock_guard hold(mutex_);
  takeEvents();
  const auto at = watched_.find(window);
  if (at == watched_.end() || !at->second.changed) return false;
  at->second.changed = false;
  *geometry = at->second.geometry;
  return true;
}

void XServer::takeEvents() {
  if (reading_) return;
  while (xcb_generic_event_t* const event = xcb_poll_for_event(connection_)) handle(event);
}

void XServer::handle(xcb_generic_event_t* event) {
  const auto owned = own(event);
  const auto with = [&](xcb_window_t window, auto change) {
    const auto at = watched_.find(window);
    if (at == watched_.end()) return;
    change(at->second);
    at->second.changed = true;
  };
  const uint8_t type = event->response_type & 0x7F;
  const bool sentByClient = event->response_type & 0x80;
  if (type == 0) {
    handleError(*reinterpret_cast<xcb_generic_error_t*>(event));
  } else if (shm_ && type == completionEvent_) {
    const auto& completion = *reinterpret_cast<xcb_shm_completion_event_t*>(event);
    for (auto put = puts_.begin(); put != puts_.end(); ++put) {
      if (segments_[put->allocation].id != completion.shmseg) continue;
      settle(put);
      break;
    }
  } else if (type == XCB_CONFIGURE_NOTIFY) {
    const auto& configure = *reinterpret_cast<xcb_configure_notify_event_t*>(event);
    with(configure.window, [&](Watched& watched) {
      watched.geometry.width = configure.width;
      watched.geometry.height = configure.height;
      // A window manager tells the place on the screen by a sent event; the server's own is relative to the parent.
      if (sentByClient || watched.parentIsRoot) {
        watched.geometry.x = configure.x + configure.border_width;
        watched.geometry.y = configure.y + configure.border_width;
      }
    });
  } else if (type == XCB_MAP_NOTIFY) {
    with(reinterpret_cast<xcb_map_notify_event_t*>(event)->window, [](Watched& w) { w.geometry.mapped = true; });
  } else if (type == XCB_UNMAP_NOTIFY) {
    with(reinterpret_cast<xcb_unmap_notify_event_t*>(event)->window, [](Watched& w) { w.geometry.mapped = false; });
  } else if (type == XCB_REPARENT_NOTIFY) {
    const auto& reparent = *reinterpret_cast<xcb_reparent_notify_event_t*>(event);
    with(reparent.window, [&](Watched& watched) {
      watched.parentIsRoot = false;
      for (int number = 0; const xcb_screen_t* const at = screen(number); ++number) {
        watched.parentIsRoot = watched.parentIsRoot || at->root == reparent.parent;
      }
    });
  } else if (type == XCB_DESTROY_NOTIFY) {
    with(reinterpret_cast<xcb_destroy_notify_event_t*>(event)->window, [](Watched& w) { w.geometry.exists = false; });
  }
}

void XServer::synchronise() { std::free(xcb_get_input_focus_reply(connection_, xcb_get_input_focus(connection_), nullptr)); }

}  // namespace qv::loader
