#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "faces/SavedFace.h"
#include "platform/Defaults.h"
#include "platform/RtcEngine.h"

namespace quorvex {

class AppModel;

/// One published field of the model: reads like its value, and every write tells the model's
/// observers before the new value takes effect.
template <class T>
class Published {
 public:
  Published(AppModel& owner, T initial) : model(owner), value(std::move(initial)) {}
  Published(const Published&) = delete;
  Published& operator=(const Published&) = delete;

  Published& operator=(T newValue);
  [[nodiscard]] const T& get() const { return value; }
  operator const T&() const { return value; }  // NOLINT: it stands for its value
  const T* operator->() const { return &value; }

 private:
  AppModel& model;
  T value;
};

/// The one observable state of the host, made by the controller and shared with the window, which
/// shows it and acts only through its closures. A bag of fields; the only logic is `queueLabel`.
/// Main thread only.
class AppModel {
 public:
  struct Size {
    double width = 0;
    double height = 0;
    bool operator==(const Size&) const = default;
  };

  /// Reads the stored consent from `defaults`, once.
  explicit AppModel(const Defaults& defaults);

  Published<std::string> statusText{*this, "Starting…"};
  Published<bool> isLive{*this, false};
  Published<bool> isSignedIn{*this, false};
  Published<bool> isSigningIn{*this, false};
  Published<bool> paused{*this, false};
  Published<bool> isQueued{*this, false};
  Published<std::optional<std::int64_t>> queuePosition{*this, std::nullopt};
  Published<std::optional<std::int64_t>> queueTotal{*this, std::nullopt};
  Published<std::vector<SavedFace>> faces{*this, {}};
  Published<std::optional<std::string>> activeFaceID{*this, std::nullopt};
  Published<bool> busyFace{*this, false};
  Published<bool> mouthMask{*this, false};
  Published<bool> enhance{*this, false};
  Published<bool> hd{*this, true};
  Published<bool> locked{*this, false};
  Published<bool> flipped{*this, false};
  Published<bool> showSelfView{*this, true};
  Published<Size> selfPipOffset{*this, {}};
  Published<std::shared_ptr<RtcVideoTrack>> remoteTrack{*this, nullptr};
  Published<std::shared_ptr<RtcVideoTrack>> localTrack{*this, nullptr};
  Published<bool> showSelfBig{*this, false};
  Published<bool> needsConsent;

  /// An action of the window; calling one that is not installed does nothing.
  template <class... Arguments>
  class Action {
   public:
    Action& operator=(std::function<void(Arguments...)> body) {
      action = std::move(body);
      return *this;
    }
    void operator()(Arguments... arguments) const {
      if (action) action(arguments...);
    }

   private:
    std::function<void(Arguments...)> action;
  };

  Action<> onChooseFace;
  Action<const std::string&> onSelectFace;  ///< the face's id
  Action<const std::string&> onDeleteFace;  ///< the face's id
  Action<> onToggleMouthMask;
  Action<> onToggleEnhance;
  Action<> onToggleHD;
  Action<> onCalibrate;
  Action<> onClearLock;
  Action<> onTogglePause;
  Action<> onToggleFlip;
  Action<> onSignIn;
  Action<> onSignOut;
  Action<> onManageAccount;
  Action<> onReportBug;
  Action<> onReconnect;
  Action<> onCancelQueue;

  /// "In queue…" and, as far as they are known, the place and the number of those waiting.
  [[nodiscard]] std::string queueLabel() const;

  /// Calls `observer` with the address of a field about to change, until the returned handle is let
  /// go.
  using Observer = std::function<void(const void* field)>;
  [[nodiscard]] std::shared_ptr<void> observe(Observer observer);

 private:
  template <class T>
  friend class Published;
  void willChange(const void* field);

  std::vector<std::weak_ptr<Observer>> observers;
};

template <class T>
Published<T>& Published<T>::operator=(T newValue) {
  model.willChange(this);
  value = std::move(newValue);
  return *this;
}

}  // namespace quorvex
