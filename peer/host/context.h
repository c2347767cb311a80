// One host context: its channel, the thread that replays what comes through it, and the OpenGL context of that thread.
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <vector>

#include "peer/host/allocation.h"
#include "peer/host/context_thread.h"
#include "peer/host/drawable_attributes.h"
#include "peer/host/live_counters.h"
#include "peer/host/quotas.h"
#include "peer/host/stretch.h"
#include "peer/host/window.h"
#include "peer/link/channel.h"
#include "peer/replay/replayer.h"
#include "peer/replay/window_commands.h"

namespace qv::peer {

class Guest;
class SideContext;

// The thread belongs to the context from its first flush on, so that the OpenGL context stays current on it from one flush to the
// next. It spins shortly for the next flush and sleeps after that.
class Context final : private WindowCommands {
 public:
  Context(Guest& guest, uint32_t id, const DrawableAttributes& attributes);
  // Ends the thread, which finishes the flush it is at.
  ~Context();
  Context(const Context&) = delete;
  Context& operator=(const Context&) = delete;

  // Makes the channel and starts the thread, unless that has been done. False, with a line in the log, when there is no memory or
  // no thread to be had. One caller at a time.
  bool openChannel();

  uint32_t id() const { return id_; }
  const DrawableAttributes& attributes() const { return attributes_; }
  // The memory file of the channel, once it is open; stays the context's.
  int channelFile() const { return channelFile_; }
  const std::shared_ptr<ChannelMemory>& channel() const { return channel_; }

  // From any thread: the thread ends instead of waiting for the guest. Only the end of the object may follow.
  void stop();
  // From any thread: lets go of its window as soon as no flush is under way.
  void requestRelease();

 private:
  void run();
  void serveFlushes();
  void waitForRequest();
  FlushAnswer serve(const FlushRequest& request);
  bool bindWindow(const FlushRequest& request);
  void unbindWindow();
  // Shows the picture, if one is wanted and can be had; else does what else a flush's end means to others.
  int32_t finishFlush(const FlushRequest& request);
  // Waits on the channel's bell; false when the context is to end.
  template <typename Ready>
  bool wait(uint32_t spinNanoseconds, Ready&& ready);
  bool replayStream(const FlushRequest& request);
  bool replayCommands(const FlushRequest& request);
  // Says what is wrong with the command that the replayer has stopped at. False.
  bool complainOfCommand(uint32_t offset);
  uint32_t pull(const FlushRequest& request, uint8_t* to, uint32_t most);
  void sendReplies(const FlushAnswer& answer);
  Result selectImage(uint32_t windowId, GLenum face, uint32_t level) override;
  Result bindTexImage(uint32_t windowId) override;
  Result releaseTexImage(uint32_t windowId) override;
  Result resolvePicture(GLuint& renderbuffer) override;
  bool accumulates() const override;
  Result accumulate(GLenum operation, GLfloat value) override;
  Result clearAccumulation() override;
  // The part of the drawable that the scissor test leaves.
  PixelRect scissored() const;
  // Makes the drawable of window_ current, cleared if it is fresh. On failure the window is let go.
  bool bindDrawable();
  // The window's picture, without an open primitive.
  bool copyPicture(const Allocation& target);
  SideContext& sideContext();
  [[gnu::format(printf, 2, 3)]] bool complain(const char* format, ...);

  Guest& guest_;
  const uint32_t id_;
  const DrawableAttributes attributes_;
  CountHeld counter_;

  Held channelHeld_;
  int channelFile_ = -1;
  std::shared_ptr<ChannelMemory> channel_;
  ContextThread thread_;
  std::atomic<bool> stop_{false};
  std::atomic<bool> ended_{false};
  std::atomic<bool> releaseRequested_{false};

  // Of the thread alone.
  uint32_t served_ = 0;  // value of the channel's `requests` that has been answered
  EGLContext egl_ = EGL_NO_CONTEXT;
  bool set_ = false;                // the OpenGL context has been given what the guest's one starts with
  std::shared_ptr<Window> window_;  // bound to this thread; null when none is
  std::unique_ptr<Replayer> replayer_;
  std::unique_ptr<SideContext> side_;  // null until something is done in it
  Stretch stretch_;
  uint32_t pulled_ = 0;  // bytes of this flush's stream taken out of the ring
  SpinBudget idleSpin_;
};

}  // namespace qv::peer
