#pragma once

#include <atomic>
#include <functional>
#include <memory>

#include "linux/vcam/LatestPicture.h"
#include "linux/vcam/PipeWireSocket.h"
#include "linux/vcam/VirtualCameraOutput.h"

struct pw_context;
struct pw_thread_loop;
struct spa_source;

namespace quorvex {

class PipeWireNode;

/// The camera node "Quorvex Camera" of the user's PipeWire daemon, there whenever the daemon is: it
/// is looked for once a second, for ever. Readers are given each new picture, and the last one
/// again each second that brings none.
class PipeWireCamera : public VirtualCameraOutput {
 public:
  /// Returns at once, whether or not there is a daemon. `remote` as PipeWireSocket takes it.
  explicit PipeWireCamera(const std::string& remote = {});
  ~PipeWireCamera() override;

  /// One line that says why no daemon answers and what mends it; none when one does.
  [[nodiscard]] static std::optional<std::string> whyNoDaemon(const std::string& remote = {});

  [[nodiscard]] std::string name() const override { return "PipeWire"; }
  [[nodiscard]] bool watched() const override { return streaming; }
  void deliver(const CMSampleBuffer& sample) override;

 private:
  void connect();
  void lose(std::string why);

  const PipeWireSocket socket;
  LatestPicture latest;
  std::atomic<bool> streaming{false};

  // Made before the loop's thread starts and ended after it; used on that thread only, but for
  // signalling `pictureCame`.
  pw_thread_loop* loop = nullptr;
  pw_context* context = nullptr;
  spa_source* connectTimer = nullptr;
  spa_source* pictureCame = nullptr;
  std::unique_ptr<PipeWireNode> node;
};

}  // namespace quorvex
