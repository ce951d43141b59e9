#pragma once

#include <cstdint>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <string_view>

namespace quorvex {

using Json = nlohmann::json;

/// Reading what a server sent: nothing here throws, and what is absent or of another type is none.

/// The JSON object that `text` holds, or none when it is anything else or nested absurdly deep.
[[nodiscard]] std::optional<Json> parseObject(std::string_view text);

[[nodiscard]] std::optional<std::string> textMember(const Json& object, const char* name);
/// A number without a fraction that a 64-bit integer holds.
[[nodiscard]] std::optional<std::int64_t> integerMember(const Json& object, const char* name);
/// Any number, its fraction cut off; one beyond the 64-bit range becomes the nearest that is in it.
[[nodiscard]] std::optional<std::int64_t> truncatedMember(const Json& object, const char* name);

/// JSON text, or none when a text in `value` is not UTF-8.
[[nodiscard]] std::optional<std::string> encoded(const Json& value);

/// `bytes` when they are UTF-8, else none.
[[nodiscard]] std::optional<std::string> decodedUtf8(std::string_view bytes);

/// Cut toward zero; a number beyond the 64-bit range becomes the nearest that is in it.
[[nodiscard]] std::int64_t truncated(double value);

}  // namespace quorvex
