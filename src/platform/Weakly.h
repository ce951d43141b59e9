#pragma once

#include <memory>
#include <utility>

namespace quorvex {

/// Makes a callback that holds its owner weakly: it calls `body(owner, arguments...)` while the
/// owner lives and does nothing once it is gone. The owner is kept alive for the call only.
template <class Owner, class Body>
auto weakly(std::weak_ptr<Owner> owner, Body body) {
  return [owner = std::move(owner), body = std::move(body)](auto&&... arguments) mutable {
    if (auto self = owner.lock()) body(*self, std::forward<decltype(arguments)>(arguments)...);
  };
}

/// The same for an owner that is `std::enable_shared_from_this`.
template <class Owner, class Body>
auto weakly(Owner* owner, Body body) {
  return weakly(
      std::weak_ptr<Owner>(std::static_pointer_cast<Owner>(owner->weak_from_this().lock())),
      std::move(body));
}

}  // namespace quorvex
