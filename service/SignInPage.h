#pragma once

#include <cstdint>
#include <string>

#include "service/Http.h"

namespace quorvex::service {

// What the user's browser shows of a sign-in. The pages hold no script and load nothing, and no
// other page may frame them, post in their name or learn their addresses.

/// Asks whether the program that waits at `port` of this machine may have the account. The form
/// posts `ticket` and a `decision`, "allow" or "deny", to /native/authorize.
[[nodiscard]] HttpReply signInPage(const std::string& ticket, std::uint16_t port);

/// Says why there is no sign-in; may quote what came from outside.
[[nodiscard]] HttpReply signInRefused(const Refusal& refusal);

/// Sends the browser on to `uri`, which may hold a code.
[[nodiscard]] HttpReply redirected(const std::string& uri);

}  // namespace quorvex::service
