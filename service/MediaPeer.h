#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <variant>

#include "service/Http.h"
#include "service/IceCandidate.h"
#include "service/Options.h"
#include "service/SwapSettings.h"

namespace quorvex::service {

class MediaEngine;

/// The service's end of one client's peer connection: answers the client's offer, and sends each
/// frame it receives back, swapped. Used on the service's thread, which it never holds up: the work
/// is done on the WebRTC library's signaling thread. Destroying it ends the connection.
class MediaPeer {
 public:
  struct Answer {
    std::string sdp;  ///< complete: holds all the service's candidates
  };
  using Answered = std::function<void(std::variant<Answer, Refusal>)>;

  /// `size` is that of the pictures sent back; none: as received. Starts answering `offer` at once;
  /// `answered` comes once, on the service's thread, also when the peer has been destroyed
  /// meanwhile. `failed` comes there at most once, when the offer is refused or the connection is
  /// lost, and not after the peer is destroyed.
  MediaPeer(MediaEngine& engine, std::optional<PictureSize> size, const std::string& offer,
            Answered answered, std::function<void()> failed);
  ~MediaPeer();

  [[nodiscard]] static bool isReadable(const IceCandidate& candidate);
  /// A candidate that cannot be read or does not fit the offer is ignored.
  void add(const IceCandidate& candidate);
  /// How its pictures look from here on.
  void show(const SwapSettings& settings);
  /// Bytes of video received so far, as it was known half a second ago at most.
  [[nodiscard]] std::uint64_t receivedBytes() const;

 private:
  class Connection;

  MediaEngine& engine;
  std::shared_ptr<std::function<void()>> failed;
  std::shared_ptr<Connection> connection;
};

}  // namespace quorvex::service
