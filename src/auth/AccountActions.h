#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "auth/AuthManager.h"
#include "platform/DispatchQueue.h"
#include "platform/Workspace.h"

namespace quorvex {

/// What the user does with the account, and what follows for the session. Main queue only.
class AccountActions : public std::enable_shared_from_this<AccountActions> {
 public:
  struct Dependencies {
    DispatchQueue& mainQueue;
    std::shared_ptr<AuthManager> auth;
    Workspace& workspace;
    std::string webBase;  ///< as in ServiceEndpoints
  };
  struct Callbacks {
    std::function<void(const std::string& text)> buildStatusMenu;
    /// Another user from here on: the session is built anew, and not as the client it was.
    std::function<void(const std::string& reason, const std::string& status)> changeSession;
  };

  AccountActions(Dependencies dependencies, Callbacks callbacks);

  void signIn();
  void signOut();
  void manageAccount();

 private:
  void signInCompleted(const std::optional<AuthFailure>& failure);

  const Dependencies needs;
  const Callbacks callbacks;
};

}  // namespace quorvex
