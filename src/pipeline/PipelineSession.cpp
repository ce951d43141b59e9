#include "pipeline/PipelineSession.h"

#include "log/HostLog.h"
#include "pipeline/IceServers.h"
#include "platform/Weakly.h"

namespace quorvex {
namespace {

constexpr Seconds kIceServersTimeout{5};

RtcIceServer fallbackServer(const std::string& stunHost) {
  return {{"stun:" + stunHost + ":19302"}, std::nullopt, std::nullopt};
}

}  // namespace

PipelineSession::PipelineSession(Dependencies dependencies, Callbacks wiring)
    : needs(std::move(dependencies)), callbacks(std::move(wiring)) {}

void PipelineSession::startPipeline() {
  if (pipelineStarted) return;
  pipelineStarted = true;
  hostLog("pipeline: sink ready → minting token");
  needs.mainQueue.async(weakly(this, [](PipelineSession& self) {
    self.callbacks.buildStatusMenu("Connecting to quorvex…");
  }));
  needs.signaling->mintSession(
      weakly(this, [](PipelineSession& self, const auto& result) { self.tokenMinted(result); }));
}

void PipelineSession::tokenMinted(const std::variant<SignalingSession, SignalingError>& result) {
  if (const auto* error = std::get_if<SignalingError>(&result)) {
    hostLog("pipeline: token mint failed: " + error->localizedDescription);
    pipelineStarted = false;
    return callbacks.scheduleRestart("token mint failed", std::nullopt);
  }
  fetchIceServers(
      weakly(this, [generation = sessionGeneration](PipelineSession& self, const auto& servers) {
        if (self.sessionGeneration != generation)
          return hostLog("pipeline: dropping pipeline build — session superseded during ICE fetch");
        self.needs.webrtc->createPeerConnection(servers);
        self.needs.signaling->connectStatusSocket();
      }));
}

void PipelineSession::fetchIceServers(IceServersCompletion completion) {
  HttpRequest request;
  request.url = appendingPathComponent(needs.endpoints.apiBase, "api/turn-credentials");
  request.timeout = kIceServersTimeout;
  needs.http.send(std::move(request), [&queue = needs.mainQueue, weak = weak_from_this(),
                                       fallback = fallbackServer(needs.endpoints.stunHost),
                                       completion = std::move(completion)](HttpResult reply) {
    queue.async([weak, fallback, reply = std::move(reply), completion] {
      const auto self = weak.lock();
      completion(self ? self->iceServersFrom(reply) : std::vector{fallback});
    });
  });
}

std::vector<RtcIceServer> PipelineSession::iceServersFrom(const HttpResult& reply) {
  std::vector<RtcIceServer> servers{fallbackServer(needs.endpoints.stunHost)};
  const auto named = reply.error || !reply.body ? std::nullopt : parseIceServers(*reply.body);
  if (!named) return cachedIceServers.value_or(servers);
  servers.insert(servers.end(), named->begin(), named->end());
  if (servers.size() > 1) cachedIceServers = servers;
  return servers;
}

void PipelineSession::sendOffer(std::int64_t generation) {
  auto faceConfig = callbacks.faceConfig();
  if (!needs.webrtc->hasPeerConnection())
    return offerCreated(generation, std::nullopt, std::move(faceConfig));
  needs.webrtc->createOffer(
      weakly(this, [generation, faceConfig = std::move(faceConfig)](
                       PipelineSession& self, const std::optional<std::string>& sdp) {
        self.offerCreated(generation, sdp, faceConfig);
      }));
}

void PipelineSession::offerCreated(std::int64_t generation, const std::optional<std::string>& sdp,
                                   std::optional<Json> faceConfig) {
  if (sessionGeneration != generation)
    return hostLog(
        "pipeline: dropping createOffer result — session superseded (cancel/restart) mid-flight");
  if (!sdp) return callbacks.scheduleRestart("createOffer produced no SDP", std::nullopt);
  needs.signaling->postOffer(
      *sdp, std::move(faceConfig),
      [&queue = needs.mainQueue, weak = weak_from_this(), generation](OfferResult result) {
        queue.async(weakly(weak, [generation, result = std::move(result)](PipelineSession& self) {
          self.handleOfferResult(generation, result);
        }));
      });
}

void PipelineSession::handleOfferResult(std::int64_t generation, const OfferResult& result) {
  if (sessionGeneration != generation)
    return hostLog(
        "pipeline: dropping offer result — session superseded (cancel/restart) mid-flight");
  std::visit([&](const auto& outcome) { take(generation, outcome); }, result);
}

void PipelineSession::take(std::int64_t, const offer::Failure& failure) {
  hostLog("pipeline: offer failed: " + failure.message);
  callbacks.scheduleRestart("offer failed: " + failure.message, std::nullopt);
}

void PipelineSession::take(std::int64_t, const offer::Busy& busy) {
  hostLog("pipeline: offer 503 busy — retry-after " +
          (busy.retryAfter ? std::to_string(truncated(*busy.retryAfter)) + "s"
                           : "none, using backoff"));
  callbacks.scheduleRestart("503 backend busy", busy.retryAfter);
}

void PipelineSession::take(std::int64_t, const offer::Queued& queued) {
  hostLog("pipeline: queued at position " +
          (queued.position ? std::to_string(*queued.position) : "?") +
          " — waiting for control:start_connection");
  callbacks.resetRestartAttempts();
  callbacks.queued(queued.position);
}

void PipelineSession::take(std::int64_t generation, const offer::Answer& answer) {
  if (!needs.webrtc->hasPeerConnection()) return answerApplied(generation, false);
  needs.webrtc->setRemoteAnswer(answer.sdp,
                                weakly(this, [generation](PipelineSession& self, bool applied) {
                                  self.answerApplied(generation, applied);
                                }));
}

void PipelineSession::answerApplied(std::int64_t generation, bool ok) {
  if (sessionGeneration != generation)
    return hostLog(
        "pipeline: dropping applied answer — session superseded (cancel/restart) mid-flight");
  hostLog(std::string("pipeline: answer applied=") + (ok ? "true" : "false"));
  if (!ok) return callbacks.scheduleRestart("setRemoteAnswer failed", std::nullopt);
  callbacks.resetRestartAttempts();
  callbacks.notQueued();
  callbacks.buildStatusMenu("Live ✓ — swapped camera ready");
}

void PipelineSession::promote() {
  callbacks.buildStatusMenu("Your turn — connecting…");
  fetchIceServers(weakly(this, [generation = sessionGeneration](PipelineSession& self,
                                                                const auto& servers) {
    if (self.sessionGeneration != generation)
      return hostLog(
          "pipeline: dropping promotion — session superseded (cancel/restart) during ICE fetch");
    self.needs.webrtc->createPeerConnection(servers);
    self.sendOffer(generation);
  }));
}

void PipelineSession::tearDown() {
  ++sessionGeneration;
  needs.signaling->disconnectStatusSocket();
  needs.webrtc->close();
  pipelineStarted = false;
}

}  // namespace quorvex
