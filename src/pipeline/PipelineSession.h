#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "media/WebRTCClient.h"
#include "platform/HttpClient.h"
#include "signaling/SignalingClient.h"

namespace quorvex {

/// Builds one live session, from the ready sink to the applied answer: token, ICE servers, peer
/// connection, status socket, offer, answer. Each step that can outlive a teardown carries the
/// generation it began in and drops its result when that has passed. Main queue only.
class PipelineSession : public std::enable_shared_from_this<PipelineSession> {
 public:
  struct Dependencies {
    DispatchQueue& mainQueue;
    HttpClient& http;
    ServiceEndpoints endpoints;
    std::shared_ptr<SignalingClient> signaling;
    std::shared_ptr<WebRTCClient> webrtc;
  };

  struct Callbacks {
    std::function<void(const std::string& text)> buildStatusMenu;
    std::function<void(std::string reason, std::optional<double> retryAfter)> scheduleRestart;
    /// The service took the offer: the next failure starts again from the shortest wait.
    std::function<void()> resetRestartAttempts;
    std::function<void(std::optional<std::int64_t> position)> queued;
    std::function<void()> notQueued;
    /// The face and its settings, which ride on every offer; none without a face.
    std::function<std::optional<Json>()> faceConfig;
  };

  PipelineSession(Dependencies dependencies, Callbacks callbacks);

  /// Begins a session unless one is under way or up.
  void startPipeline();

  /// Offers in the session that began as `generation`.
  void sendOffer(std::int64_t generation);

  /// The service has admitted this host: a new peer connection and a new offer on the open socket.
  void promote();

  /// Ends the session: whatever of it is still in flight is dropped. The camera keeps running.
  void tearDown();

  [[nodiscard]] bool isStarted() const { return pipelineStarted; }
  [[nodiscard]] std::int64_t generation() const { return sessionGeneration; }

 private:
  using IceServersCompletion = std::function<void(const std::vector<RtcIceServer>&)>;

  void tokenMinted(const std::variant<SignalingSession, SignalingError>& result);
  void fetchIceServers(IceServersCompletion completion);
  [[nodiscard]] std::vector<RtcIceServer> iceServersFrom(const HttpResult& reply);
  void offerCreated(std::int64_t generation, const std::optional<std::string>& sdp,
                    std::optional<Json> faceConfig);
  void handleOfferResult(std::int64_t generation, const OfferResult& result);
  void take(std::int64_t generation, const offer::Answer& answer);
  void take(std::int64_t generation, const offer::Queued& queued);
  void take(std::int64_t generation, const offer::Busy& busy);
  void take(std::int64_t generation, const offer::Failure& failure);
  void answerApplied(std::int64_t generation, bool ok);

  const Dependencies needs;
  const Callbacks callbacks;
  bool pipelineStarted = false;
  std::int64_t sessionGeneration = 0;
  std::optional<std::vector<RtcIceServer>> cachedIceServers;
};

}  // namespace quorvex
