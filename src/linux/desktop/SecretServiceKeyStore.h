#pragma once

#include <functional>
#include <string_view>

#include "platform/KeyStore.h"

namespace quorvex {

/// The desktop's Secret Service, in its default collection. It is never unlocked and nothing is
/// asked: a locked collection is errSecInteractionNotAllowed, none at all errSecNotAvailable. A
/// service that does not answer is given up after two seconds.
class SecretServiceKeyStore : public KeyStore {
 public:
  /// Sees only the secrets that were kept for `service`, a URL or a name. `log` takes a line when a
  /// secret could not be kept; any thread.
  SecretServiceKeyStore(std::string service, std::function<void(std::string_view)> log);

  [[nodiscard]] OSStatus SecItemCopyMatching(const std::string& account,
                                             std::string* data) override;
  [[nodiscard]] OSStatus SecItemAdd(const std::string& account, const std::string& data) override;
  OSStatus SecItemDelete(const std::string& account) override;

 private:
  const std::string owner;
  const std::function<void(std::string_view)> log;
};

}  // namespace quorvex
