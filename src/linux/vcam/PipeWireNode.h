#pragma once

#include <pipewire/pipewire.h>

#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "linux/UniqueFd.h"
#include "linux/vcam/LatestPicture.h"
#include "linux/vcam/RawVideo.h"

namespace quorvex {

/// The camera node on one connection to a PipeWire daemon. Everything happens on the loop of the
/// context that it is made with, and its events come from there.
class PipeWireNode {
 public:
  struct Events {
    std::function<void()> listed;       ///< the node is there for everybody to see
    std::function<void(bool)> watched;  ///< readers came, or the last one went
    /// The connection or the node has ended; nothing comes from it any more. At most once.
    std::function<void(const std::string& reason)> lost;
  };

  /// Never null; what fails comes as `lost`, also from within. `pictures` must outlive it.
  static std::unique_ptr<PipeWireNode> create(pw_context* context, UniqueFd connection,
                                              const LatestPicture& pictures, Events events);
  ~PipeWireNode();

  /// Hands readers the newest picture; nothing happens when there are none.
  void show();

 private:
  PipeWireNode(pw_loop* eventLoop, const LatestPicture& newest, Events handlers)
      : loop(eventLoop), pictures(newest), events(std::move(handlers)) {}

  static const pw_core_events kCoreEvents;
  static const pw_stream_events kStreamEvents;

  [[nodiscard]] bool open(pw_context* context, UniqueFd connection);
  void lose(const std::string& reason);
  void changeState(pw_stream_state state, const char* error);
  void changeFormat(const spa_pod* format);
  void fillBuffer();
  void fill(spa_buffer& buffer);

  pw_loop* const loop;
  const LatestPicture& pictures;
  const Events events;
  pw_core* core = nullptr;
  pw_stream* stream = nullptr;
  spa_source* repeatTimer = nullptr;
  spa_hook coreHook{};
  spa_hook streamHook{};

  bool ended = false;
  bool streaming = false;
  std::optional<RawVideoFormat> format;
  std::uint64_t pictureNumber = 0;
};

}  // namespace quorvex
