#include "program/DemoService.h"

#include <unistd.h>

#include <QDeadlineTimer>
#include <QFileInfo>
#include <QString>
#include <csignal>

#include "support/Json.h"

namespace quorvex {
namespace {

constexpr int kStartLimitMs = 10'000;
constexpr int kEndLimitMs = 3'000;

}  // namespace

DemoService::~DemoService() {
  if (process.state() == QProcess::NotRunning) return;
  process.terminate();
  if (!process.waitForFinished(kEndLimitMs)) process.kill();
  process.waitForFinished(kEndLimitMs);
}

std::variant<ServiceEndpoints, std::string> DemoService::start(const std::string& program) {
  if (!QFileInfo(QString::fromStdString(program)).isExecutable())
    return "the demo needs " + program + "; build the target quorvex-service";
  process.setProcessChannelMode(QProcess::ForwardedErrorChannel);
  // Ctrl-C is for the host, which takes its leave of the service first; and the signals that this
  // process keeps for its event loop must reach the child.
  process.setChildProcessModifier([] {
    ::setpgid(0, 0);
    sigset_t none;
    sigemptyset(&none);
    ::sigprocmask(SIG_SETMASK, &none, nullptr);
  });
  process.start(QString::fromStdString(program), {"--exit-with-parent"});
  const QDeadlineTimer limit(kStartLimitMs);
  while (!process.canReadLine() && !limit.hasExpired() && process.state() != QProcess::NotRunning)
    process.waitForReadyRead(static_cast<int>(limit.remainingTime()));
  const auto line = parseObject(process.readLine().toStdString());
  const auto web = line ? textMember(*line, "web") : std::nullopt;
  const auto api = line ? textMember(*line, "api") : std::nullopt;
  const auto socket = line ? textMember(*line, "socket") : std::nullopt;
  if (!web || !api || !socket)
    return "the demo's service " + program + " did not start; run it by itself to see why";
  ServiceEndpoints endpoints;
  endpoints.webBase = *web;
  endpoints.apiBase = *api;
  endpoints.socketBase = *socket;
  return endpoints;
}

}  // namespace quorvex
