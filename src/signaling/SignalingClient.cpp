#include "signaling/SignalingClient.h"

#include "log/HostLog.h"
#include "platform/Uuid.h"
#include "platform/Weakly.h"
#include "signaling/OfferReply.h"
#include "signaling/StatusSocketUrl.h"

namespace quorvex {
namespace {

constexpr const char* kDeviceIdentifierKey = "rc.deviceIdentifier.v1";
constexpr const char* kDeviceIdentifierMember = "device_id";
constexpr int kGoingAway = 1001;
constexpr int kTokenRejected = 4001;

}  // namespace

SignalingClient::SignalingClient(Dependencies dependencies) : needs(std::move(dependencies)) {}

void SignalingClient::setDelegate(std::weak_ptr<SignalingClientDelegate> newDelegate) {
  delegate = std::move(newDelegate);
}

void SignalingClient::mintSession(MintCompletion completion) {
  TokenStore* tokens = needs.tokenStore;
  if (const auto token = tokens ? tokens->validAccessToken() : std::nullopt)
    return mintAccountSession(*token, std::move(completion));
  if (!tokens || !tokens->storedRefreshToken()) return mintDeviceSession(std::move(completion));
  tokens->refresh([&queue = needs.mainQueue, weak = weak_from_this(),
                   completion = std::move(completion)](std::optional<std::string> token) {
    queue.async(weakly(weak, [token = std::move(token), completion](SignalingClient& self) {
      if (token)
        self.mintAccountSession(*token, completion);
      else
        self.mintDeviceSession(completion);
    }));
  });
}

void SignalingClient::mintAccountSession(const std::string& accessToken,
                                         MintCompletion completion) {
  auto user = needs.tokenStore->currentUserUUID();
  if (!user) return mintDeviceSession(std::move(completion));
  SignalingSession minted{accessToken, std::move(*user), "auth",
                          brandClaim(accessToken).value_or("quorvex"), std::nullopt};
  needs.mainQueue.async(weakly(this, [minted = std::move(minted),
                                      completion = std::move(completion)](SignalingClient& self) {
    self.session = minted;
    self.session->clientID = self.lastClientID;
    hostLog("signaling: using authed token brand=" + minted.brandID);
    completion(*self.session);
  }));
}

void SignalingClient::mintDeviceSession(MintCompletion completion) {
  HttpRequest request;
  request.method = "POST";
  request.url = appendingPathComponent(needs.endpoints.webBase, "api/session-token");
  request.headers["Content-Type"] = "application/json";
  request.body = encoded(Json{{kDeviceIdentifierMember, deviceIdentifier()}});
  needs.urlSession.send(std::move(request), [&queue = needs.mainQueue, weak = weak_from_this(),
                                             completion = std::move(completion)](HttpResult reply) {
    queue.async([weak, reply = std::move(reply), completion] {
      // The one who asked is told even when the client is gone by then.
      if (auto self = weak.lock())
        self->handleSessionReply(reply, completion);
      else
        completion(parseSessionReply(reply));
    });
  });
}

void SignalingClient::handleSessionReply(const HttpResult& reply,
                                         const MintCompletion& completion) {
  auto minted = parseSessionReply(reply);
  if (auto* granted = std::get_if<SignalingSession>(&minted)) {
    needs.defaults.setString(kDeviceIdentifierKey, granted->userUUID);
    granted->clientID = lastClientID;
    session = *granted;
    hostLog("signaling: minted token type=" + granted->type + " brand=" + granted->brandID);
  }
  completion(std::move(minted));
}

std::string SignalingClient::deviceIdentifier() {
  if (auto known = needs.defaults.string(kDeviceIdentifierKey); known && !known->empty())
    return *known;
  auto made = randomUuid();
  needs.defaults.setString(kDeviceIdentifierKey, made);
  return made;
}

HttpRequest SignalingClient::authorizedPost(const std::string& path, const Json& body) const {
  HttpRequest request;
  request.method = "POST";
  request.url = appendingPathComponent(needs.endpoints.apiBase, path);
  request.headers = {{"Content-Type", "application/json"},
                     {"Authorization", "Bearer " + session->token},
                     {"X-Brand-Id", session->brandID}};
  request.body = encoded(body);
  return request;
}

void SignalingClient::postOffer(const std::string& sdp, std::optional<Json> faceSwapConfig,
                                std::function<void(OfferResult)> completion) {
  if (!session || !session->clientID)
    return completion(offer::Failure{"postOffer: no session/client_id"});
  Json body{{"sdp", sdp},
            {"type", "offer"},
            {"client_id", *session->clientID},
            {"token", session->token}};
  if (faceSwapConfig) body["face_swap_config"] = std::move(*faceSwapConfig);
  needs.urlSession.send(authorizedPost("ws/offer", body),
                        [completion = std::move(completion)](const HttpResult& reply) {
                          completion(classifyOfferReply(reply));
                        });
}

void SignalingClient::sendIceCandidate(RtcIceCandidate candidate) {
  needs.mainQueue.async(weakly(this, [candidate = std::move(candidate)](SignalingClient& self) {
    if (!self.session || !self.session->clientID) return;
    const Json object{{"candidate", candidate.sdp},
                      {"sdpMid", candidate.sdpMid ? Json(*candidate.sdpMid) : Json()},
                      {"sdpMLineIndex", candidate.sdpMLineIndex}};
    self.needs.urlSession.send(
        self.authorizedPost("ws/ice-candidate",
                            {{"candidate", object}, {"client_id", *self.session->clientID}}),
        [](const HttpResult&) {});  // a lost candidate costs one path among several
  }));
}

void SignalingClient::fail(const std::string& message) {
  if (auto listener = delegate.lock()) listener->signalingDidFail(message);
}

void SignalingClient::connectStatusSocket() {
  if (!session) return fail("no token");
  const auto url = statusSocketUrl(needs.endpoints.socketBase, *session);
  if (const auto* problem = std::get_if<StatusSocketUrlProblem>(&url))
    return fail(problem->message);
  WebSocketRequest request;
  request.url = std::get<std::string>(url);
  request.headers["Authorization"] = "Bearer " + session->token;
  ws = needs.webSockets.webSocketTask(std::move(request));
  ws->resume();
  hostLog(std::string("signaling: WS connecting (reconnect=") +
          (session->clientID ? "true)" : "false)"));
  receiveNext();
}

void SignalingClient::disconnectStatusSocket() {
  if (ws) ws->cancel(kGoingAway);
  ws.reset();
}

void SignalingClient::receiveNext() {
  ws->receive([&queue = needs.mainQueue, weak = weak_from_this(),
               task = std::weak_ptr(ws)](WebSocketTask::Received received) {
    queue.async(weakly(weak, [task, received = std::move(received)](SignalingClient& self) {
      // What a socket says that has been replaced or dropped meanwhile is nobody's business.
      const auto current = task.lock();
      if (!current || current != self.ws) return;
      self.handleReceived(received);
      if (received.message && self.ws == current) self.receiveNext();
    }));
  });
}

void SignalingClient::handleReceived(const WebSocketTask::Received& received) {
  if (!received.message) {
    hostLog("signaling: WS receive error: " + received.error);
    const int code = ws->closeCode();
    return handleClose(code > 0 ? code : -1);
  }
  if (const auto text = decodedUtf8(received.message->data)) dispatch(*text);
}

void SignalingClient::handleClose(int code) {
  if (code == 1000 || code == kGoingAway) return;
  if (code != kTokenRejected) return fail("connection lost (" + std::to_string(code) + ")");
  if (session) session->clientID.reset();
  if (needs.tokenStore) needs.tokenStore->invalidateAccessToken();
  fail("4001 token rejected");
}

void SignalingClient::dispatch(const std::string& text) {
  const auto message = parseObject(text);
  const auto type = message ? textMember(*message, "type") : std::nullopt;
  if (!type) return;
  if (*type == "identity") return handleIdentity(*message);
  if (*type == "status_update") return handleStatusUpdate(*message);
  if (*type == "control" && textMember(*message, "action") == "start_connection") {
    hostLog("signaling: control start_connection → (re)send offer");
    if (auto listener = delegate.lock()) listener->promoteFromQueue();
    return;
  }
  if (*type == "error" && textMember(*message, "error_type") == "PAUSE_TIMEOUT")
    return fail("PAUSE_TIMEOUT");
  forward(*message);
}

void SignalingClient::handleIdentity(Message message) {
  const auto clientID = textMember(message, "client_id");
  if (!clientID) return fail("identity without client_id");
  if (session) session->clientID = clientID;
  lastClientID = clientID;
  hostLog("signaling: identity received");
  sendDeviceInfo(*clientID);
  if (auto listener = delegate.lock()) listener->signalingDidReceiveIdentity();
}

void SignalingClient::handleStatusUpdate(Message message) {
  const auto status = textMember(message, "status").value_or("");
  if (status != "queued" && status != "not_queued") return forward(message);
  const auto position = integerMember(message, "position");
  const auto total = integerMember(message, "total_in_queue");
  const auto shown = [](const auto& number) { return number ? std::to_string(*number) : "-"; };
  hostLog("signaling: status_update " + status + " position=" + shown(position) +
          " total=" + shown(total));
  needs.mainQueue.async(weakly(delegate, [=](SignalingClientDelegate& listener) {
    listener.signalingDidReceiveQueueStatus(status, position, total);
  }));
}

void SignalingClient::forward(Message message) {
  if (auto listener = delegate.lock()) listener->signalingDidReceiveMessage(message);
}

void SignalingClient::sendDeviceInfo(const std::string& clientID) {
  // The service tells its clients apart by these texts; this is the one it knows desktop hosts by.
  sendMessage({{"type", "device_info"},
               {"client_id", clientID},
               {"device_info",
                {{"os", "macOS"},
                 {"app", "quorvex-camera"},
                 {"userUuid", session ? session->userUUID : ""}}}});
}

void SignalingClient::sendConfig(Json config) {
  if (!session || !session->clientID) return;
  sendMessage({{"type", "config_update"},
               {"client_id", *session->clientID},
               {"config", std::move(config)}});
}

void SignalingClient::sendControl(const std::string& type) {
  if (!session || !session->clientID) return;
  sendMessage({{"type", type}, {"client_id", *session->clientID}});
}

void SignalingClient::sendMessage(const Json& message) {
  auto text = encoded(message);
  if (!text || !ws) return;
  ws->send(std::move(*text), [](const std::optional<std::string>& error) {
    if (error) hostLog("signaling: WS send error: " + *error);
  });
}

}  // namespace quorvex
