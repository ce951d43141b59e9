#include "service/Encoding.h"

#include <openssl/crypto.h>
#include <openssl/evp.h>
#include <openssl/hmac.h>
#include <openssl/rand.h>

#include <algorithm>
#include <stdexcept>

namespace quorvex::service {
namespace {

constexpr std::string_view kUrlAlphabet =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-_";

int hexDigit(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

}  // namespace

Bytes randomBytes(std::size_t count) {
  Bytes bytes(count);
  if (RAND_bytes(bytes.data(), static_cast<int>(count)) != 1)
    throw std::runtime_error("the system gives no random bytes");
  return bytes;
}

Bytes sha256(std::string_view text) {
  Bytes digest(EVP_MAX_MD_SIZE);
  unsigned int length = 0;
  if (EVP_Digest(text.data(), text.size(), digest.data(), &length, EVP_sha256(), nullptr) != 1)
    throw std::runtime_error("the system computes no SHA-256");
  digest.resize(length);
  return digest;
}

Bytes hmacSha256(const Bytes& key, std::string_view text) {
  Bytes digest(EVP_MAX_MD_SIZE);
  unsigned int length = 0;
  HMAC(EVP_sha256(), key.data(), static_cast<int>(key.size()),
       reinterpret_cast<const unsigned char*>(text.data()), text.size(), digest.data(), &length);
  digest.resize(length);
  return digest;
}

bool equalInConstantTime(std::string_view a, std::string_view b) {
  return a.size() == b.size() && CRYPTO_memcmp(a.data(), b.data(), a.size()) == 0;
}

std::string base64Url(std::string_view bytes) {
  std::string text;
  std::uint32_t held = 0;
  int bits = 0;
  for (const char c : bytes) {
    held = held << 8 | static_cast<std::uint8_t>(c);
    for (bits += 8; bits >= 6; bits -= 6) text += kUrlAlphabet[held >> (bits - 6) & 63];
  }
  if (bits > 0) text += kUrlAlphabet[held << (6 - bits) & 63];
  return text;
}

std::string base64Url(const Bytes& bytes) {
  return base64Url({reinterpret_cast<const char*>(bytes.data()), bytes.size()});
}

std::optional<std::string> base64UrlDecoded(std::string_view text) {
  std::string bytes;
  std::uint32_t held = 0;
  int bits = 0;
  for (const char c : text) {
    const auto value = kUrlAlphabet.find(c);
    if (value == std::string_view::npos) return std::nullopt;
    held = held << 6 | static_cast<std::uint32_t>(value);
    bits += 6;
    if (bits >= 8) bytes += static_cast<char>(held >> (bits -= 8) & 255);
  }
  return bytes;
}

bool isBase64(std::string_view text) {
  if (text.size() % 4 != 0) return false;
  for (int padding = 0; padding < 2 && text.ends_with('='); ++padding) text.remove_suffix(1);
  return text.find_first_not_of(
             "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/") ==
         std::string_view::npos;
}

std::string uuidOf(Bytes bytes) {
  bytes.resize(16);
  bytes[6] = static_cast<std::uint8_t>((bytes[6] & 0x0F) | 0x40);
  bytes[8] = static_cast<std::uint8_t>((bytes[8] & 0x3F) | 0x80);
  std::string text;
  for (std::size_t i = 0; i < bytes.size(); ++i) {
    if (i == 4 || i == 6 || i == 8 || i == 10) text += '-';
    text += "0123456789abcdef"[bytes[i] >> 4];
    text += "0123456789abcdef"[bytes[i] & 15];
  }
  return text;
}

std::string percentDecoded(std::string_view text) {
  std::string decoded;
  for (std::size_t i = 0; i < text.size(); ++i) {
    const int high = text[i] == '%' && i + 2 < text.size() ? hexDigit(text[i + 1]) : -1;
    const int low = high >= 0 ? hexDigit(text[i + 2]) : -1;
    if (low >= 0) {
      decoded += static_cast<char>(high * 16 + low);
      i += 2;
    } else {
      decoded += text[i] == '+' ? ' ' : text[i];
    }
  }
  return decoded;
}

std::map<std::string, std::string> formFields(std::string_view text) {
  std::map<std::string, std::string> fields;
  while (!text.empty()) {
    const std::string_view pair = text.substr(0, text.find('&'));
    const auto equals = pair.find('=');
    if (equals != std::string_view::npos)
      fields[percentDecoded(pair.substr(0, equals))] = percentDecoded(pair.substr(equals + 1));
    text.remove_prefix(std::min(pair.size() + 1, text.size()));
  }
  return fields;
}

}  // namespace quorvex::service
