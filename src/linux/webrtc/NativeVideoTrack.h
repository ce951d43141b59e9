#pragma once

#include <map>
#include <memory>
#include <mutex>

#include "linux/webrtc/NativeFactory.h"
#include "platform/RtcEngine.h"

namespace quorvex {

/// A track of the WebRTC library. Thread-safe.
class NativeVideoTrack : public RtcVideoTrack {
 public:
  NativeVideoTrack(std::shared_ptr<NativeFactory> library,
                   rtc::scoped_refptr<webrtc::VideoTrackInterface> track);
  ~NativeVideoTrack() override;

  [[nodiscard]] std::string trackID() const override;
  void setEnabled(bool enabled) override;
  void addRenderer(std::shared_ptr<RtcVideoRenderer> renderer) override;
  void removeRenderer(const std::shared_ptr<RtcVideoRenderer>& renderer) override;

  [[nodiscard]] const rtc::scoped_refptr<webrtc::VideoTrackInterface>& native() const {
    return track;
  }

 private:
  class Sink;

  const std::shared_ptr<NativeFactory> library;
  const rtc::scoped_refptr<webrtc::VideoTrackInterface> track;
  std::mutex mutex;
  std::map<std::shared_ptr<RtcVideoRenderer>, std::unique_ptr<Sink>> sinks;  // protected by mutex
};

}  // namespace quorvex
