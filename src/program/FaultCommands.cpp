#include "program/FaultCommands.h"

#include <QLocalSocket>
#include <map>

namespace quorvex {
namespace {

constexpr qint64 kLongestLine = 64;

}  // namespace

FaultCommands::FaultCommands(FaultyCoreMediaIO& virtualCamera, V4l2LoopbackCamera* videoDevice)
    : camera(virtualCamera), loopback(videoDevice) {
  server.setSocketOptions(QLocalServer::UserAccessOption);
  QObject::connect(&server, &QLocalServer::newConnection, &server, [this] { accept(); });
}

bool FaultCommands::listen(const std::string& path, std::string* why) {
  const bool listening = server.listen(QString::fromStdString(path));
  if (!listening) *why = server.errorString().toStdString();
  return listening;
}

void FaultCommands::accept() {
  while (QLocalSocket* socket = server.nextPendingConnection()) {
    QObject::connect(socket, &QLocalSocket::disconnected, socket, &QObject::deleteLater);
    QObject::connect(socket, &QLocalSocket::readyRead, socket, [this, socket] {
      while (socket->canReadLine()) {
        const QByteArray command = socket->readLine(kLongestLine).trimmed();
        socket->write(QByteArray::fromStdString(answer(command.toStdString()) + "\n"));
      }
      if (socket->bytesAvailable() >= kLongestLine) socket->abort();
    });
  }
}

std::string FaultCommands::answer(const std::string& command) const {
  using Fault = FaultyCoreMediaIO::Fault;
  static const std::map<std::string, Fault> faults{{"none", Fault::none},
                                                   {"refuse", Fault::refuse},
                                                   {"stall", Fault::stall},
                                                   {"vanish", Fault::vanish}};
  if (command == "release") {
    if (!loopback) return "no video device is fed; start with --virtual-camera v4l2 or auto";
    loopback->release();
    return "ok";
  }
  const auto found = faults.find(command);
  if (found == faults.end())
    return "\"" + command + "\" is no fault; give none, refuse, stall, vanish or release";
  camera.set(found->second);
  return "ok";
}

}  // namespace quorvex
