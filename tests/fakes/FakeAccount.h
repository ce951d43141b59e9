#pragma once

#include <map>
#include <memory>
#include <vector>

#include "platform/Crypto.h"
#include "platform/KeyStore.h"
#include "platform/LoopbackListener.h"
#include "platform/SystemExtensions.h"
#include "platform/Workspace.h"

namespace quorvex {

class FakeKeyStore : public KeyStore {
 public:
  OSStatus SecItemCopyMatching(const std::string& account, std::string* data) override {
    ++reads;
    if (readStatus != kNoError) return readStatus;
    if (!items.contains(account)) return errSecItemNotFound;
    *data = items[account];
    return kNoError;
  }
  OSStatus SecItemAdd(const std::string& account, const std::string& data) override {
    if (addStatus == kNoError) items[account] = data;
    return addStatus;
  }
  OSStatus SecItemDelete(const std::string& account) override {
    items.erase(account);
    return kNoError;
  }

  std::map<std::string, std::string> items;
  OSStatus readStatus = kNoError, addStatus = kNoError;
  int reads = 0;
};

/// Random bytes that are the same each time; its digest is that of the RFC's example.
class FakeCrypto : public Crypto {
 public:
  std::optional<std::string> secureRandomBytes(int count) const override {
    return fails ? std::nullopt
                 : std::optional(std::string(static_cast<std::size_t>(count), '\xfb'));
  }
  std::string sha256(std::string_view bytes) const override {
    digested = bytes;
    return "\x13\xd3\x1e\x96\x1a\x1a\xd8\xec\x2f\x16\xb1\x0c\x4c\x98\x2e\x08"
           "\x76\xa8\x78\xad\x6d\xf1\x44\x56\x6e\xe1\x89\x4a\xcb\x70\xf9\xc3";
  }
  bool fails = false;
  mutable std::string digested;
};

class FakeWorkspace : public Workspace {
 public:
  void open(const std::string& url, std::function<void(bool)> completion) override {
    opened.push_back(url);
    if (completion) completion(works);
  }
  void openApplication(std::map<std::string, std::string> environment,
                       std::function<void(bool)> completion) override {
    instances.push_back(std::move(environment));
    completion(works);
  }
  std::vector<std::string> opened;
  std::vector<std::map<std::string, std::string>> instances;  ///< their environments
  bool works = true;
};

class FakeExtensions : public SystemExtensions {
 public:
  void submitActivationRequest(const std::string& identifier,
                               std::weak_ptr<SystemExtensionRequestDelegate> delegate) override {
    requests.push_back(identifier);
    requester = std::move(delegate);
  }
  void doWithout() override { ++doneWithout; }
  void reconsider() override { ++reconsidered; }
  std::vector<std::string> requests;
  std::weak_ptr<SystemExtensionRequestDelegate> requester;
  int doneWithout = 0, reconsidered = 0;
};

class FakeConnection : public LoopbackConnection {
 public:
  void receive(int, std::function<void(std::optional<std::string>)> completion) override {
    received = std::move(completion);
  }
  void send(const std::string& bytes, std::function<void()> processed) override {
    sent += bytes;
    processed();
  }
  void cancel() override { cancelled = true; }

  std::function<void(std::optional<std::string>)> received;
  std::string sent;
  bool cancelled = false;
};

class FakeListener : public LoopbackListener {
 public:
  void start(Handlers given) override { handlers = std::move(given); }
  std::optional<std::uint16_t> port() const override { return freePort; }
  void cancel() override { cancelled = true; }

  /// A browser comes with this request.
  std::shared_ptr<FakeConnection> connect(const std::optional<std::string>& request) {
    auto connection = std::make_shared<FakeConnection>();
    handlers.newConnection(connection);
    std::exchange(connection->received, nullptr)(request);
    return connection;
  }

  Handlers handlers;
  std::optional<std::uint16_t> freePort = 40123;
  bool cancelled = false;
};

class FakeListeners : public LoopbackListenerFactory {
 public:
  std::variant<std::shared_ptr<LoopbackListener>, std::string> create() override {
    if (!obstacle.empty()) return obstacle;
    last = std::make_shared<FakeListener>();
    return last;
  }
  std::shared_ptr<FakeListener> last;
  std::string obstacle;
};

}  // namespace quorvex
