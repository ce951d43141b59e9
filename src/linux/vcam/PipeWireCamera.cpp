#include "linux/vcam/PipeWireCamera.h"

#include <pipewire/pipewire.h>

#include <cerrno>
#include <cstring>
#include <utility>

#include "linux/vcam/PipeWireNode.h"

namespace quorvex {
namespace {

constexpr timespec kAtOnce{0, 1};
constexpr timespec kRetryAfter{1, 0};

}  // namespace

PipeWireCamera::PipeWireCamera(const std::string& remote) : socket(remote) {
  pw_init(nullptr, nullptr);
  loop = pw_thread_loop_new("qxc-pipewire", nullptr);
  if (loop) context = pw_context_new(pw_thread_loop_get_loop(loop), nullptr, 0);
  if (context) {
    pw_loop* events = pw_thread_loop_get_loop(loop);
    connectTimer = pw_loop_add_timer(
        events, [](void* self, std::uint64_t) { static_cast<PipeWireCamera*>(self)->connect(); },
        this);
    pictureCame = pw_loop_add_event(
        events,
        [](void* self, std::uint64_t) {
          if (const auto& shown = static_cast<PipeWireCamera*>(self)->node) shown->show();
        },
        this);
  }
  auto wait = kAtOnce;
  if (!connectTimer || !pictureCame ||
      pw_loop_update_timer(pw_thread_loop_get_loop(loop), connectTimer, &wait, nullptr, false) <
          0 ||
      pw_thread_loop_start(loop) < 0)
    setUnavailable(std::string("PipeWire's library does not start (") + std::strerror(errno) +
                   "); use --virtual-camera embedded");
}

PipeWireCamera::~PipeWireCamera() {
  if (loop) pw_thread_loop_stop(loop);
  node.reset();
  if (pictureCame) pw_loop_destroy_source(pw_thread_loop_get_loop(loop), pictureCame);
  if (connectTimer) pw_loop_destroy_source(pw_thread_loop_get_loop(loop), connectTimer);
  if (context) pw_context_destroy(context);
  if (loop) pw_thread_loop_destroy(loop);
  pw_deinit();
}

std::optional<std::string> PipeWireCamera::whyNoDaemon(const std::string& remote) {
  std::string problem;
  if (PipeWireSocket(remote).connect(&problem)) return {};
  return problem;
}

void PipeWireCamera::deliver(const CMSampleBuffer& sample) {
  latest.put(sample.imageBuffer);
  if (streaming) pw_loop_signal_event(pw_thread_loop_get_loop(loop), pictureCame);
}

void PipeWireCamera::connect() {
  node.reset();
  std::string problem;
  UniqueFd connection = socket.connect(&problem);
  if (!connection) return lose(std::move(problem));
  setUnavailable(socket.explained("it has not answered yet"));
  node = PipeWireNode::create(
      context, std::move(connection), latest,
      {.listed = [this] { setAvailable(); },
       .watched = [this](bool now) { streaming = now; },
       .lost = [this](const std::string& reason) { lose(socket.explained(reason)); }});
}

/// The node is ended by the next attempt, as this may be called from within it.
void PipeWireCamera::lose(std::string why) {
  streaming = false;
  setUnavailable(std::move(why));
  auto wait = kRetryAfter;
  pw_loop_update_timer(pw_thread_loop_get_loop(loop), connectTimer, &wait, nullptr, false);
}

}  // namespace quorvex
