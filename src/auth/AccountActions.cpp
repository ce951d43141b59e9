#include "auth/AccountActions.h"

#include "log/HostLog.h"
#include "platform/Weakly.h"
#include "support/ServiceEndpoints.h"

namespace quorvex {

AccountActions::AccountActions(Dependencies dependencies, Callbacks wiring)
    : needs(std::move(dependencies)), callbacks(std::move(wiring)) {}

void AccountActions::signIn() {
  hostLog("menu: Sign In tapped");
  needs.auth->signIn([&queue = needs.mainQueue,
                      weak = weak_from_this()](const std::optional<AuthFailure>& failure) {
    queue.async(weakly(weak, [failure](AccountActions& self) { self.signInCompleted(failure); }));
  });
  callbacks.buildStatusMenu("Signing in — finish in your browser…");
}

void AccountActions::signInCompleted(const std::optional<AuthFailure>& failure) {
  if (!failure)
    return callbacks.changeSession("signed in — re-mint with authed token", "Signed in ✓");
  hostLog("menu: sign-in failed: " + description(*failure));
  callbacks.buildStatusMenu("Sign-in failed — try again");
}

void AccountActions::signOut() {
  hostLog("menu: Sign Out tapped");
  needs.auth->signOut();
  callbacks.changeSession("signed out — account session dropped, re-mint device session",
                          "Signed out");
}

void AccountActions::manageAccount() {
  hostLog("menu: Manage Account tapped");
  needs.workspace.open(appendingPathComponent(needs.webBase, "faceswap"), {});
}

}  // namespace quorvex
