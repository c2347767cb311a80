// Pictures into windows: straight from the allocation's shared memory where the server takes it, inline otherwise.
#include <fcntl.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "loader/glx/x_server.h"

namespace qv::loader {

namespace {

// How often events are looked for before the thread sleeps: a server that is at work answers within some ten microseconds, and
// a sleep and its wake-up cost more than that.
constexpr int kPolls = 100;

}  // namespace

XServer::Segment& XServer::attach(const sim::GpuAllocation& source) {
  const auto known = segments_.find(source.handle);
  if (known != segments_.end()) return known->second;
  Segment& segment = segments_[source.handle];
  // The connection closes the descriptor that it sends.
  const int fd = shm_ ? fcntl(source.fd, F_DUPFD_CLOEXEC, 3) : -1;
  if (fd < 0) return segment;
  const xcb_shm_seg_t id = xcb_generate_id(connection_);
  const auto cookie = xcb_shm_attach_fd_checked(connection_, id, fd, 1);
  if (xcb_generic_error_t* const error = xcb_request_check(connection_, cookie)) {
    std::free(error);
  } else {
    segment.id = id;
  }
  return segment;
}

xcb_gcontext_t XServer::graphicsContext(xcb_drawable_t target, int depth) {
  // A graphics context serves every drawable of one screen and depth. Where there are several screens, the server is asked for the
  // root window of the target.
  xcb_window_t root = 0;
  if (screen(1)) {
    xcb_get_geometry_reply_t* const reply = xcb_get_geometry_reply(connection_, xcb_get_geometry(connection_, target), nullptr);
    if (reply) root = reply->root;
    std::free(reply);
  }
  xcb_gcontext_t& gc = graphicsContexts_[{root, depth}];
  if (!gc) {
    gc = xcb_generate_id(connection_);
    const uint32_t noExposures = 0;
    xcb_create_gc(connection_, gc, target, XCB_GC_GRAPHICS_EXPOSURES, &noExposures);
  }
  return gc;
}

void XServer::put(xcb_drawable_t target, int depth, const sim::GpuAllocation& source, const RECT& rect) {
  RECT part = rect;
  part.left = std::max(part.left, 0);
  part.top = std::max(part.top, 0);
  part.right = std::min(part.right, static_cast<LONG>(source.width));
  part.bottom = std::min(part.bottom, static_cast<LONG>(source.height));
  if (part.left >= part.right || part.top >= part.bottom) return;

  const std::lock_guard hold(mutex_);
  takeEvents();
  Segment& segment = attach(source);
  xcb_gcontext_t const gc = graphicsContext(target, depth);
  if (!segment.id) {
    putInline(target, gc, depth, source, part);
    xcb_flush(connection_);
    return;
  }
  const auto x = static_cast<int16_t>(part.left), y = static_cast<int16_t>(part.top);
  const xcb_void_cookie_t cookie =
      xcb_shm_put_image(connection_, target, gc, static_cast<uint16_t>(source.pitch / 4), static_cast<uint16_t>(source.height),
                        static_cast<uint16_t>(part.left), static_cast<uint16_t>(part.top),
                        static_cast<uint16_t>(part.right - part.left), static_cast<uint16_t>(part.bottom - part.top), x, y,
                        static_cast<uint8_t>(depth), XCB_IMAGE_FORMAT_Z_PIXMAP, 1, segment.id, 0);
  ++segment.pending;
  puts_.push_back({cookie.sequence, source.handle});
  xcb_flush(connection_);
}

void XServer::putInline(xcb_drawable_t target, xcb_gcontext_t gc, int depth, const sim::GpuAllocation& source, const RECT& rect) {
  const uint32_t width = static_cast<uint32_t>(rect.right - rect.left);
  const uint32_t rowBytes = width * 4;
  constexpr uint32_t kHeadBytes = 32;
  const uint32_t room = xcb_get_maximum_request_length(connection_) * 4u - kHeadBytes;
  const uint32_t rowsAtOnce = std::clamp(room / rowBytes, 1u, 4096u);
  std::vector<uint8_t> rows;
  for (LONG top = rect.top; top < rect.bottom; top += static_cast<LONG>(rowsAtOnce)) {
    const uint32_t count = std::min(rowsAtOnce, static_cast<uint32_t>(rect.bottom - top));
    rows.resize(static_cast<size_t>(count) * rowBytes);
    for (uint32_t row = 0; row < count; ++row) {
      // In bounds: the rectangle was clipped to the allocation, whose rows are `pitch` bytes apart.
      std::memcpy(rows.data() + static_cast<size_t>(row) * rowBytes,
                  source.memory + (static_cast<size_t>(top) + row) * source.pitch + static_cast<size_t>(rect.left) * 4, rowBytes);
    }
    xcb_put_image(connection_, XCB_IMAGE_FORMAT_Z_PIXMAP, target, gc, static_cast<uint16_t>(width), static_cast<uint16_t>(count),
                  static_cast<int16_t>(rect.left), static_cast<int16_t>(top), 0, static_cast<uint8_t>(depth),
                  static_cast<uint32_t>(rows.size()), rows.data());
  }
}

void XServer::settle(std::deque<Put>::iterator put) {
  const auto segment = segments_.find(put->allocation);
  if (segment != segments_.end() && segment->second.pending) --segment->second.pending;
  puts_.erase(put);
}

// A picture for a window that is gone gets an error in place of the completion.
void XServer::handleError(const xcb_generic_error_t& error) {
  const auto put = std::find_if(puts_.begin(), puts_.end(),
                                [&](const Put& p) { return static_cast<uint32_t>(p.sequence) == error.full_sequence; });
  if (put != puts_.end()) settle(put);
}

// The server is gone: nothing will ever be read again.
void XServer::abandonPuts() {
  puts_.clear();
  for (auto& [handle, segment] : segments_) segment.pending = 0;
}

void XServer::waitFor(std::unique_lock<std::mutex>& hold, const uint32_t* allocation) {
  const auto pending = [&] {
    if (!allocation) return !puts_.empty();
    const auto segment = segments_.find(*allocation);
    return segment != segments_.end() && segment->second.pending > 0;
  };
  takeEvents();
  while (pending()) {
    if (reading_) {
      read_.wait(hold);
      continue;
    }
    reading_ = true;
    hold.unlock();
    xcb_generic_event_t* event = nullptr;
    for (int poll = 0; poll < kPolls && !event; ++poll) event = xcb_poll_for_event(connection_);
    if (!event) event = xcb_wait_for_event(connection_);
    hold.lock();
    reading_ = false;
    if (event) {
      handle(event);
      takeEvents();
    } else {
      abandonPuts();
    }
    read_.notify_all();
  }
}

void XServer::finishReads(uint32_t allocation) {
  std::unique_lock hold(mutex_);
  const auto segment = segments_.find(allocation);
  if (segment == segments_.end() || !segment->second.pending) return;
  waitFor(hold, &allocation);
}

void XServer::finishAllReads() {
  std::unique_lock hold(mutex_);
  waitFor(hold, nullptr);
}

void XServer::forget(uint32_t allocation) {
  std::unique_lock hold(mutex_);
  waitFor(hold, &allocation);
  const auto segment = segments_.find(allocation);
  if (segment == segments_.end()) return;
  if (segment->second.id) {
    xcb_shm_detach(connection_, segment->second.id);
    xcb_flush(connection_);
  }
  segments_.erase(segment);
}

}  // namespace qv::loader
