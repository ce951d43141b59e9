#pragma once

#include <memory>
#include <string>
#include <vector>

#include "platform/Windows.h"

namespace quorvex {

/// A desktop that remembers what it was given, and answers alerts as it is told.
class FakeWindows : public Windows {
 public:
  struct FakeWindow : Window {
    explicit FakeWindow(FakeWindows& desktop) : owner(desktop) { ++owner.windowsMade; }
    bool isVisible() const override { return owner.windowIsVisible; }
    void makeKeyAndOrderFront() override {
      owner.windowIsVisible = true;
      ++owner.broughtForward;
    }
    void close() override { owner.windowIsVisible = false; }
    FakeWindows& owner;
  };

  std::unique_ptr<Window> makeWindow() { return std::make_unique<FakeWindow>(*this); }
  void setMainMenu(std::vector<Menu> menus, std::weak_ptr<MenuTarget> menuTarget) override {
    mainMenu = std::move(menus);
    target = menuTarget;
  }
  void setStatusMenu(Menu menu, std::weak_ptr<MenuTarget>) override {
    statusMenu = std::move(menu);
    ++statusMenusBuilt;
  }
  void setStatusTitle(const std::string& title) override { statusMenu.items.at(0).title = title; }
  std::size_t runModal(const Alert& alert) override {
    alerts.push_back(alert);
    return answer;
  }

  std::vector<Menu> mainMenu;
  Menu statusMenu;
  std::weak_ptr<MenuTarget> target;
  std::vector<Alert> alerts;
  std::size_t answer = 0;
  int windowsMade = 0, broughtForward = 0, statusMenusBuilt = 0;
  bool windowIsVisible = false, hasTerminated = false;
};

}  // namespace quorvex
