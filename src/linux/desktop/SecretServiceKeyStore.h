#pragma once

#include <functional>
#include <future>
#include <mutex>
#include <string_view>

#include "platform/KeyStore.h"

namespace quorvex {

/// The desktop's Secret Service, in its default collection. It is never unlocked and nothing is
/// asked: a locked collection is errSecInteractionNotAllowed, none at all errSecNotAvailable. A
/// service that does not answer is given up after two seconds.
class SecretServiceKeyStore : public KeyStore {
 public:
  /// Sees only the secrets that were kept for `service`, a URL or a name. `log` takes a line when a
  /// secret could not be kept or removed; any thread.
  SecretServiceKeyStore(std::string service, std::function<void(std::string_view)> log);

  [[nodiscard]] OSStatus SecItemCopyMatching(const std::string& account,
                                             std::string* data) override;
  [[nodiscard]] OSStatus SecItemAdd(const std::string& account, const std::string& data) override;
  /// Returns at once, for users sign out on the main thread; what is called later finds it done.
  OSStatus SecItemDelete(const std::string& account) override;
  /// Waits until all is removed that was to be.
  void finish();

 private:
  void remove(const std::string& account) const;
  void complain(OSStatus status, const char* consequence) const;

  const std::string owner;
  const std::function<void(std::string_view)> log;
  std::mutex mutex;
  std::future<void> removal;  ///< by mutex
};

}  // namespace quorvex
