#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <variant>

#include "auth/TokenStore.h"
#include "platform/Defaults.h"
#include "platform/HttpClient.h"
#include "platform/RtcEngine.h"
#include "platform/WebSocket.h"
#include "signaling/OfferResult.h"
#include "signaling/SessionToken.h"
#include "signaling/SignalingSession.h"
#include "support/Json.h"
#include "support/ServiceEndpoints.h"

namespace quorvex {

/// What the service says over the status socket. Called on the main queue.
class SignalingClientDelegate {
 public:
  virtual ~SignalingClientDelegate() = default;
  /// The socket was lost or the service ended the session; `message` says which.
  virtual void signalingDidFail(const std::string& message) = 0;
  /// The service knows this host now and has been told about it: time for the offer.
  virtual void signalingDidReceiveIdentity() = 0;
  /// The service admits this host from its queue.
  virtual void promoteFromQueue() = 0;
  virtual void signalingDidReceiveQueueStatus(const std::string& status,
                                              std::optional<std::int64_t> position,
                                              std::optional<std::int64_t> total) = 0;
  /// Everything else.
  virtual void signalingDidReceiveMessage(const Json& message) = 0;
};

/// Speaks the service's protocol: the session token, the status socket, the offer and the ICE
/// candidates. Retries nothing; that is its owner's. Main queue only, unless said otherwise.
class SignalingClient : public std::enable_shared_from_this<SignalingClient> {
 public:
  struct Dependencies {
    DispatchQueue& mainQueue;
    HttpClient& urlSession;
    WebSocketClient& webSockets;
    Defaults& defaults;
    ServiceEndpoints endpoints;
    TokenStore* tokenStore = nullptr;  ///< none while the host knows no accounts
  };

  explicit SignalingClient(Dependencies dependencies);

  void setDelegate(std::weak_ptr<SignalingClientDelegate> newDelegate);

  /// Obtains a session, the account's when one is signed in, and keeps it. The completion comes on
  /// the main queue. A failure leaves the session as it was.
  using MintCompletion = std::function<void(std::variant<SignalingSession, SignalingError>)>;
  void mintSession(MintCompletion completion);

  /// The text this host is known by before it has a session; made on first use, kept for good.
  [[nodiscard]] std::string deviceIdentifier();

  /// Opens the status socket of the current session. A socket that was open before is no longer
  /// listened to.
  void connectStatusSocket();
  /// Closes the status socket with code 1001.
  void disconnectStatusSocket();

  /// Sends swap settings. Like `sendControl`, sends nothing before "identity" or without a socket.
  void sendConfig(Json config);
  /// Sends a message that has only a type ("calibrate", "clear_lock").
  void sendControl(const std::string& type);

  /// Sends the local offer with the face settings, if any. The completion comes on the HTTP
  /// callback queue, except that it comes at once when there is no session to offer in.
  void postOffer(const std::string& sdp, std::optional<Json> faceSwapConfig,
                 std::function<void(OfferResult)> completion);

  /// Sends one local candidate; one found before "identity" is dropped. Any thread.
  void sendIceCandidate(RtcIceCandidate candidate);

  /// Forgets the client id that the next session would ask for again.
  void clearLastClientID() { lastClientID.reset(); }

 private:
  using Message = const Json&;

  void mintAccountSession(const std::string& accessToken, MintCompletion completion);
  void mintDeviceSession(MintCompletion completion);
  void handleSessionReply(const HttpResult& reply, const MintCompletion& completion);
  [[nodiscard]] HttpRequest authorizedPost(const std::string& path, const Json& body) const;

  void fail(const std::string& message);
  void receiveNext();
  void handleReceived(const WebSocketTask::Received& received);
  void handleClose(int code);
  void dispatch(const std::string& text);
  void handleIdentity(Message message);
  void handleStatusUpdate(Message message);
  void forward(Message message);
  void sendDeviceInfo(const std::string& clientID);
  void sendMessage(const Json& message);

  const Dependencies needs;
  std::weak_ptr<SignalingClientDelegate> delegate;
  std::optional<SignalingSession> session;
  std::shared_ptr<WebSocketTask> ws;
  std::optional<std::string> lastClientID;
};

}  // namespace quorvex
