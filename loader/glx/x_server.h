// XServer: a connection of the library's own to one X server, over which it follows windows and puts pictures.
#pragma once

#include <xcb/shm.h>
#include <xcb/xcb.h>

#include <condition_variable>
#include <cstdint>
#include <deque>
#include <map>
#include <mutex>
#include <string>
#include <unordered_map>

#include "platform/simulated/gpu_link.h"

namespace qv::loader {

// Where a watched window stands, in root coordinates and without its border.
struct WindowGeometry {
  int x = 0, y = 0;
  uint32_t width = 0, height = 0;
  bool mapped = false;
  bool exists = true;
};

// One per display name, made when first asked for and kept for the life of the process. It has a connection of its own: events
// that were asked for on the program's connection would reach the program. Any thread may call any member.
class XServer {
 public:
  // Null when the server cannot be reached.
  static XServer* get(const std::string& displayName);

  const xcb_screen_t* screen(int number) const;
  // Whether pixels of this depth are 32 bits, least significant byte first, as allocations are.
  bool takesPixels(int depth) const;

  // Size and depth of any drawable; false when it does not exist. Waits for the server.
  bool query(xcb_drawable_t drawable, WindowGeometry* geometry, int* depth, xcb_visualid_t* visual);
  // Starts to follow a window. False when there is none. Waits for the server.
  bool watch(xcb_window_t window, WindowGeometry* geometry);
  void unwatch(xcb_window_t window);
  // True when the watched window's geometry has changed since the last call or watch(); never waits for the server.
  bool takeChange(xcb_window_t window, WindowGeometry* geometry);

  // Shows `source` inside `rect` of the target, same coordinates in both. Shared memory where the server takes it: the
  // picture is then read after the return, see finishReads.
  void put(xcb_drawable_t target, int depth, const sim::GpuAllocation& source, const RECT& rect);
  // Returns once the server has read every picture that was put from this allocation.
  void finishReads(uint32_t allocation);
  void finishAllReads();
  void forget(uint32_t allocation);
  // Waits until the server has done everything sent so far.
  void synchronise();

 private:
  struct Watched {
    WindowGeometry geometry;
    bool parentIsRoot = true;
    bool changed = false;
  };
  struct Segment {
    xcb_shm_seg_t id = 0;  // 0: the server would not attach it
    uint32_t pending = 0;  // pictures put from it and not yet read
  };
  struct Put {
    uint64_t sequence;
    uint32_t allocation;
  };

  XServer(xcb_connection_t* connection, bool useShm);
  // These are called with mutex_ held.
  void takeEvents();
  void handle(xcb_generic_event_t* event);
  void handleError(const xcb_generic_error_t& error);
  void settle(std::deque<Put>::iterator put);
  void abandonPuts();
  Segment& attach(const sim::GpuAllocation& source);
  xcb_gcontext_t graphicsContext(xcb_drawable_t target, int depth);
  void putInline(xcb_drawable_t target, xcb_gcontext_t gc, int depth, const sim::GpuAllocation& source, const RECT& rect);
  void waitFor(std::unique_lock<std::mutex>& hold, const uint32_t* allocation);

  xcb_connection_t* const connection_;
  bool shm_ = false;
  uint8_t completionEvent_ = 0;
  std::mutex mutex_;
  std::condition_variable read_;
  bool reading_ = false;  // one thread waits for events outside the lock; the others leave the events to it
  std::unordered_map<xcb_window_t, Watched> watched_;
  std::unordered_map<uint32_t, Segment> segments_;
  std::deque<Put> puts_;
  std::map<std::pair<xcb_window_t, int>, xcb_gcontext_t> graphicsContexts_;
};

}  // namespace qv::loader
