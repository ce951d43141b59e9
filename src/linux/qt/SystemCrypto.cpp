#include "linux/qt/SystemCrypto.h"

#include <sys/random.h>

#include <QCryptographicHash>

namespace quorvex {

std::optional<std::string> SystemCrypto::secureRandomBytes(int count) const {
  std::string bytes(static_cast<std::size_t>(count), '\0');
  // Up to 256 bytes come whole or not at all.
  if (::getentropy(bytes.data(), bytes.size()) != 0) return std::nullopt;
  return bytes;
}

std::string SystemCrypto::sha256(std::string_view bytes) const {
  QCryptographicHash hash(QCryptographicHash::Sha256);
  hash.addData(QByteArrayView(bytes.data(), static_cast<qsizetype>(bytes.size())));
  return hash.result().toStdString();
}

}  // namespace quorvex
