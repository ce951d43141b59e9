#include "app/Menus.h"

namespace quorvex {
namespace {

constexpr const char* kStatusPrefix = "Quorvex Camera — ";

MenuItem separator() {
  return {};
}

MenuItem note(std::string text) {
  return {.title = std::move(text), .enabled = false};
}

std::vector<Menu> mainMenu() {
  using enum MenuAction;
  return {
      {"Quorvex Camera",
       {{"About Quorvex Camera", orderFrontStandardAboutPanel},
        separator(),
        {"Open Window", openWindow, "0"},
        separator(),
        {"Hide Quorvex Camera", hide, "h"},
        {"Hide Others", hideOtherApplications, "h", true},
        {"Show All", unhideAllApplications},
        separator(),
        {"Quit Quorvex Camera", terminate, "q"}}},
      {"Edit",
       {{"Undo", undo, "z"},
        {"Redo", redo, "z", false, true},
        separator(),
        {"Cut", cut, "x"},
        {"Copy", copy, "c"},
        {"Paste", paste, "v"},
        {"Select All", selectAll, "a"}}},
      {"View",
       {{"Pause / Resume", menuPause, "p"},
        {"Flip Camera", menuFlip, "f"},
        {"Toggle Self-View", menuToggleSelfView, "\\"},
        separator(),
        {"Reconnect", reconnectTapped, "r"}}},
      {"Window",
       {{"Minimize", performMiniaturize, "m"},
        {"Zoom", performZoom},
        separator(),
        {"Close", performClose, "w"},
        separator(),
        {"Bring All to Front", arrangeInFront}}},
      {"Help", {{"Quorvex Camera Help", menuHelp, "?"}, {"Report a Bug…", reportBug}}},
  };
}

}  // namespace

Menus::Menus(Dependencies dependencies, Actions performed)
    : needs(std::move(dependencies)), actions(std::move(performed)) {}

void Menus::buildMainMenu() {
  if (needs.windows) needs.windows->setMainMenu(mainMenu(), weak_from_this());
}

void Menus::buildStatusMenu(const std::string& text) {
  const bool signedIn = needs.auth->storedRefreshToken().has_value();
  const bool signingIn = needs.auth->isSigningIn();
  if (needs.windows)
    needs.windows->setStatusMenu(statusMenu(text, signedIn, signingIn), weak_from_this());
  hasStatusMenu = true;
  needs.model.statusText = text;
  needs.model.isSignedIn = signedIn;
  needs.model.isSigningIn = signingIn;
}

void Menus::setStatusLine(const std::string& text) {
  if (!hasStatusMenu) return buildStatusMenu(text);
  if (needs.windows) needs.windows->setStatusTitle(kStatusPrefix + text);
  needs.model.statusText = text;
}

Menu Menus::statusMenu(const std::string& text, bool signedIn, bool signingIn) {
  using enum MenuAction;
  const auto active = needs.faces->activeFace();
  Menu menu;
  const auto add = [&menu](MenuItem item) { menu.items.push_back(std::move(item)); };
  add(note(kStatusPrefix + text));
  if (signedIn) add(note("Signed in"));
  add(separator());
  if (signedIn)
    add({"Sign Out", signOutTapped});
  else
    add({.title = signingIn ? "Signing in…" : "Sign In…",
         .action = signInTapped,
         .enabled = !signingIn});
  add(separator());
  add(note(active ? "Face: " + active->name : "No face chosen (passthrough)"));
  add({"Open Window", openWindow, "o"});
  add({"Choose Face…", chooseFace, "f"});
  if (active) add({"Clear Face", clearFace});
  add({.title = "Enhance Face (sharper)",
       .action = toggleEnhance,
       .checked = needs.defaults.boolean("rc.enhance")});
  add(separator());
  add({"Reconnect", reconnectTapped});
  add({"Re-install extension", reinstall, "r"});
  add({"Quit", quit, "q"});
  return menu;
}

bool Menus::validateMenuItem(MenuItem& item) const {
  switch (item.action) {
    case MenuAction::menuPause:
      item.title = needs.model.paused ? "Resume" : "Pause";
      return needs.model.isLive;
    case MenuAction::menuFlip:
      item.checked = needs.model.flipped;
      return true;
    case MenuAction::menuToggleSelfView:
      item.checked = needs.model.showSelfView;
      return true;
    default:
      return true;
  }
}

void Menus::perform(MenuAction action) {
  const auto found = actions.find(action);
  if (found != actions.end()) found->second();
}

}  // namespace quorvex
