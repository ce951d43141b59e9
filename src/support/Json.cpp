#include "support/Json.h"

#include <cmath>
#include <limits>

namespace quorvex {
namespace {

constexpr int kDeepestNesting = 64;

}  // namespace

std::optional<Json> parseObject(std::string_view text) {
  // A few bytes of brackets would become hundreds of times as many bytes of nested values.
  bool tooDeep = false;
  const auto watchDepth = [&](int depth, Json::parse_event_t, const Json&) {
    tooDeep |= depth > kDeepestNesting;
    return !tooDeep;
  };
  Json parsed = Json::parse(text, watchDepth, false);
  if (tooDeep || !parsed.is_object()) return std::nullopt;
  return parsed;
}

std::optional<std::string> textMember(const Json& object, const char* name) {
  const auto member = object.find(name);
  if (member == object.end() || !member->is_string()) return std::nullopt;
  return member->get<std::string>();
}

std::optional<std::int64_t> integerMember(const Json& object, const char* name) {
  const auto member = object.find(name);
  if (member == object.end() || !member->is_number()) return std::nullopt;
  if (member->is_number_unsigned() &&
      member->get<std::uint64_t>() > std::numeric_limits<std::int64_t>::max())
    return std::nullopt;
  if (member->is_number_integer()) return member->get<std::int64_t>();
  const auto number = member->get<double>();
  if (number != std::trunc(number) || std::abs(number) >= 0x1p63) return std::nullopt;
  return static_cast<std::int64_t>(number);
}

std::optional<std::int64_t> truncatedMember(const Json& object, const char* name) {
  if (const auto integer = integerMember(object, name)) return integer;
  const auto member = object.find(name);
  if (member == object.end() || !member->is_number()) return std::nullopt;
  return truncated(member->get<double>());
}

std::optional<std::string> encoded(const Json& value) {
  try {
    return value.dump();
  } catch (const Json::exception&) {
    return std::nullopt;
  }
}

std::optional<std::string> decodedUtf8(std::string_view bytes) {
  // The encoder of the JSON library is the UTF-8 check at hand.
  if (!encoded(Json(bytes))) return std::nullopt;
  return std::string(bytes);
}

std::int64_t truncated(double value) {
  if (std::isnan(value)) return 0;
  if (value >= 0x1p63) return std::numeric_limits<std::int64_t>::max();
  if (value <= -0x1p63) return std::numeric_limits<std::int64_t>::min();
  return static_cast<std::int64_t>(value);
}

}  // namespace quorvex
