#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <variant>

namespace quorvex {

/// How the service took an offer.
namespace offer {
struct Answer {
  std::string sdp;
};
struct Queued {
  std::optional<std::int64_t> position;
};
struct Busy {
  std::optional<double> retryAfter;  ///< seconds
};
struct Failure {
  std::string message;
};
}  // namespace offer

using OfferResult = std::variant<offer::Answer, offer::Queued, offer::Busy, offer::Failure>;

}  // namespace quorvex
