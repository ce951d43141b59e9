#pragma once

#include "service/Accounts.h"
#include "service/Http.h"

namespace quorvex::service {

/// Signs programs of this machine in: in the browser first, where the user decides, then with them
/// for tokens. Used on the service's thread.
class AccountEndpoint {
 public:
  explicit AccountEndpoint(Accounts& kept) : accounts(kept) {}

  /// GET native/authorize: the page that asks the user, or one that says what is wrong.
  void ask(const HttpRequest& request, const Respond& respond) const;
  /// POST native/authorize, from that page: back to the program with a code, or with an error.
  void decide(const HttpRequest& request, const Respond& respond) const;
  /// POST api/native/token.
  void exchange(const HttpRequest& request, const Respond& respond) const;
  /// POST api/native/refresh.
  void refresh(const HttpRequest& request, const Respond& respond) const;

 private:
  [[nodiscard]] HttpReply replyOf(const Accounts::Session& session) const;

  Accounts& accounts;
};

}  // namespace quorvex::service
