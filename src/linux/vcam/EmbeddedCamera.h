#pragma once

#include <atomic>
#include <chrono>
#include <memory>
#include <string_view>
#include <thread>
#include <vector>

#include "linux/vcam/LatestPicture.h"
#include "linux/vcam/PrivateSocket.h"
#include "linux/vcam/VirtualCameraOutput.h"
#include "linux/vcam/Y4mReader.h"

namespace quorvex {

/// A camera that any player opens: YUV4MPEG2 on a unix socket of the user's own, for up to 16
/// readers at once. Who connects is given the newest picture at once, then each new one, and the
/// last one again each second that brings none.
class EmbeddedCamera : public VirtualCameraOutput {
 public:
  static constexpr int kMostReaders = 16;

  /// Opens the socket; when that fails the camera stays unavailable and `whyUnavailable` says why.
  /// `log` gets a line when a reader must be turned away; any thread.
  EmbeddedCamera(std::string path, std::function<void(std::string_view)> logLine);
  /// Ends all connections and removes the socket.
  ~EmbeddedCamera() override;

  [[nodiscard]] std::string name() const override { return "the embedded camera"; }
  [[nodiscard]] bool watched() const override { return readerCount > 0; }
  void deliver(const CMSampleBuffer& sample) override;

  [[nodiscard]] const std::string& path() const { return socketPath; }

 private:
  using Time = std::chrono::steady_clock::time_point;

  void serve(const std::stop_token& stop);
  void waitForWork();
  void acceptReaders();
  void takePicture();
  void wake() const;

  const std::string socketPath;
  const std::function<void(std::string_view)> log;
  const UniqueFd wakeUp;  ///< an eventfd
  std::unique_ptr<PrivateSocket> listener;
  LatestPicture latest;
  std::atomic<bool> delivered{false};  ///< `latest` holds a picture that the server has not taken
  std::atomic<int> readerCount{0};

  Y4mFrames frames;  // the server's own, as the next three
  std::vector<Y4mReader> readers;
  Time frameBegan{};
  Time acceptAgain{};
  std::jthread server;
};

}  // namespace quorvex
