#include "service/MediaEngine.h"

#include <stdexcept>

#include "linux/webrtc/NativeFactory.h"
#include "rtc_base/logging.h"
#include "system_wrappers/include/field_trial.h"

namespace quorvex::service {
namespace {

// Every frame is to be shown as soon as it is there, here and at the far end, instead of being held
// back against jitter, and to be sent at once instead of being spread over the time to the next: on
// one machine this takes the time of the whole loop from 67 ms to 17 ms.
constexpr const char* kFieldTrials =
    "WebRTC-ForceSendPlayoutDelay/min_ms:0,max_ms:0/"
    "WebRTC-ForcePlayoutDelay/min_ms:0,max_ms:0/"
    "WebRTC-Video-Pacing/factor:10/";

std::shared_ptr<NativeFactory> startLibrary() {
  rtc::LogMessage::LogToDebug(rtc::LS_NONE);  // its log holds session descriptions
  webrtc::field_trial::InitFieldTrialsFromString(kFieldTrials);
  auto factory = NativeFactory::create(true);
  if (!factory) throw std::runtime_error("the WebRTC library's threads do not start");
  return factory;
}

}  // namespace

MediaEngine::MediaEngine(std::function<void(Task)> hop)
    : toService(std::move(hop)), factory(startLibrary()) {}

MediaEngine::~MediaEngine() {
  factory->signalingThread().BlockingCall([] {});
}

}  // namespace quorvex::service
