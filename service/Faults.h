#pragma once

#include <map>
#include <optional>
#include <string>

#include "platform/DispatchQueue.h"
#include "service/Http.h"
#include "service/JsonMembers.h"

namespace quorvex::service {

/// How one endpoint misbehaves.
struct FaultyReply {
  std::optional<HttpReply> reply;  ///< none: the real one
  Seconds delay{0};                ///< before the reply
  bool isWithheld = false;         ///< no reply at all
  std::optional<int> times;        ///< so many more replies; none: all of them
};

/// What the service does wrong at present, as its user wants it; nothing to begin with. The
/// vocabulary is in docs/testing-faults.md. Used on the service's thread.
struct Faults {
  std::map<std::string, FaultyReply> replies;  ///< by name of the endpoint
  std::optional<int> places;                   ///< peers at a time; none: as many as there come
  int ahead = 0;                               ///< imaginary clients before all that wait
  bool admitsByControl = true;                 ///< else by saying "not_queued"
  bool answersWell = true;
  bool mediaFlows = true;
  bool identifies = true;
  std::optional<int> accessSeconds{};  ///< life of new access tokens; none: the usual one

  /// Takes over the members of `document`. Throws a `Refusal`, in which case nothing has changed.
  void take(const JsonMembers& document);
  /// All members, in the form that `take` reads.
  [[nodiscard]] nlohmann::json document() const;

  /// What is wrong with the next reply of an endpoint, and counts that reply.
  [[nodiscard]] FaultyReply nextReply(const std::string& endpoint);
};

}  // namespace quorvex::service
