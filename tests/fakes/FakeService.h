#pragma once

#include <algorithm>
#include <deque>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "platform/Defaults.h"
#include "platform/HttpClient.h"
#include "platform/SystemLog.h"
#include "platform/WebSocket.h"

namespace quorvex {

/// Keeps requests until a test answers them.
class FakeHttp : public HttpClient {
 public:
  struct Pending {
    HttpRequest request;
    Completion completion;
  };

  void send(HttpRequest request, Completion completion) override {
    pending.push_back({std::move(request), std::move(completion)});
  }

  /// Takes the oldest request whose URL ends with `path`.
  Pending take(const std::string& path) {
    const auto at = std::find_if(pending.begin(), pending.end(),
                                 [&](const auto& one) { return one.request.url.ends_with(path); });
    if (at == pending.end()) throw std::runtime_error("nobody has asked for " + path);
    Pending taken = std::move(*at);
    pending.erase(at);
    return taken;
  }

  void reply(const std::string& path, int status, std::optional<std::string> body) {
    take(path).completion({std::nullopt, status, {}, std::move(body)});
  }
  void fail(const std::string& path, const std::string& error) {
    take(path).completion({error, 0, {}, std::nullopt});
  }

  std::deque<Pending> pending;
};

class FakeSocket : public WebSocketTask {
 public:
  explicit FakeSocket(WebSocketRequest opened) : request(std::move(opened)) {}

  void resume() override {}
  void receive(std::function<void(Received)> completion) override {
    waiting = std::move(completion);
  }
  void send(std::string text, std::function<void(std::optional<std::string>)> done) override {
    sent.push_back(std::move(text));
    done(sendError);
  }
  void cancel(int closedWith) override { cancelledWith = closedWith; }
  [[nodiscard]] int closeCode() const override { return code; }

  /// The service says something.
  void say(std::string data, WebSocketMessage::Kind kind = WebSocketMessage::Kind::text) {
    std::exchange(waiting, nullptr)({WebSocketMessage{kind, std::move(data)}, {}});
  }
  /// The socket ends.
  void end(int closedWith) {
    code = closedWith;
    std::exchange(waiting, nullptr)({std::nullopt, "gone"});
  }

  WebSocketRequest request;
  std::function<void(Received)> waiting;
  std::vector<std::string> sent;
  std::optional<std::string> sendError;
  std::optional<int> cancelledWith;
  int code = 0;
};

class FakeWebSockets : public WebSocketClient {
 public:
  std::shared_ptr<WebSocketTask> webSocketTask(WebSocketRequest request) override {
    opened.push_back(std::make_shared<FakeSocket>(std::move(request)));
    return opened.back();
  }
  [[nodiscard]] FakeSocket& last() const { return *opened.back(); }

  std::vector<std::shared_ptr<FakeSocket>> opened;
};

class FakeDefaults : public Defaults {
 public:
  [[nodiscard]] std::optional<std::string> string(std::string_view key) const override {
    const auto found = values.find(std::string(key));
    return found == values.end() ? std::nullopt : std::optional(found->second);
  }
  void setString(std::string_view key, std::string_view value) override {
    values[std::string(key)] = value;
  }
  [[nodiscard]] bool boolean(std::string_view key) const override { return string(key) == "true"; }
  void setBoolean(std::string_view key, bool value) override {
    setString(key, value ? "true" : "false");
  }
  void remove(std::string_view key) override { values.erase(std::string(key)); }

  std::map<std::string, std::string> values;
};

class FakeSystemLog : public SystemLog {
 public:
  void write(Level, std::string_view category, std::string_view message) override {
    entries.push_back(std::string(category) + ": " + std::string(message));
  }
  std::vector<std::string> entries;
};

}  // namespace quorvex
