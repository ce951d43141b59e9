#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace quorvex::service {

using Bytes = std::vector<std::uint8_t>;

/// From the system's secure source.
[[nodiscard]] Bytes randomBytes(std::size_t count);
[[nodiscard]] Bytes sha256(std::string_view text);
[[nodiscard]] Bytes hmacSha256(const Bytes& key, std::string_view text);
/// Takes the same time wherever the two differ.
[[nodiscard]] bool equalInConstantTime(std::string_view a, std::string_view b);

/// Without padding.
[[nodiscard]] std::string base64Url(std::string_view bytes);
[[nodiscard]] std::string base64Url(const Bytes& bytes);
[[nodiscard]] std::optional<std::string> base64UrlDecoded(std::string_view text);
/// Whether `text` is standard base64 with its padding, without line breaks.
[[nodiscard]] bool isBase64(std::string_view text);

/// A version 4 UUID in lower case made of 16 bytes.
[[nodiscard]] std::string uuidOf(Bytes bytes);

/// `%XX` and `+` undone; a broken escape stays as it is.
[[nodiscard]] std::string percentDecoded(std::string_view text);
/// `name=value&…`, percent-encoded, as queries and posted forms have it. Of fields with the same
/// name the last counts; what has no `=` is left out.
[[nodiscard]] std::map<std::string, std::string> formFields(std::string_view text);

}  // namespace quorvex::service
