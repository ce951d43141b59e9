#include "service/JsonMembers.h"

#include <limits>

#include "support/Json.h"

namespace quorvex::service {

using nlohmann::json;

JsonMembers JsonMembers::parse(const std::string& text, const std::string& what) {
  auto parsed = parseObject(text);
  if (!parsed) throw Refusal{400, what + " must be a JSON object in UTF-8"};
  auto root = std::make_shared<const json>(std::move(*parsed));
  const json& object = *root;
  return {std::move(root), object, ""};
}

void JsonMembers::refuse(const std::string& name, const std::string& expected) const {
  throw Refusal{400, "member \"" + prefix + name + "\" must be " + expected};
}

const json& JsonMembers::member(const char* name, const char* expected) const {
  const auto found = object.find(name);
  if (found == object.end()) refuse(name, std::string(expected) + "; it is missing");
  return *found;
}

const std::string& JsonMembers::text(const char* name) const {
  const json& value = member(name, "a text");
  if (!value.is_string()) refuse(name, "a text");
  return value.get_ref<const std::string&>();
}

bool JsonMembers::isNull(const char* name) const {
  const auto found = object.find(name);
  return found != object.end() && found->is_null();
}

std::vector<std::string> JsonMembers::names() const {
  std::vector<std::string> names;
  for (const auto& [name, value] : object.items()) names.push_back(name);
  return names;
}

const std::string& JsonMembers::textOfSome(const char* name) const {
  const std::string& value = text(name);
  if (value.empty()) refuse(name, "a text that is not empty");
  return value;
}

bool JsonMembers::flag(const char* name) const {
  const json& value = member(name, "true or false");
  if (!value.is_boolean()) refuse(name, "true or false");
  return value.get<bool>();
}

std::int32_t JsonMembers::integer(const char* name) const {
  const char* expected = "a whole number of 32 bits";
  const json& value = member(name, expected);
  if (!value.is_number_integer()) refuse(name, expected);
  const bool tooLarge = value.is_number_unsigned() &&
                        value.get<std::uint64_t>() > std::numeric_limits<std::int32_t>::max();
  if (tooLarge || value.get<std::int64_t>() > std::numeric_limits<std::int32_t>::max() ||
      value.get<std::int64_t>() < std::numeric_limits<std::int32_t>::min())
    refuse(name, expected);
  return value.get<std::int32_t>();
}

int JsonMembers::integer(const char* name, int least, int most) const {
  const int value = integer(name);
  if (value < least || value > most)
    refuse(name, "from " + std::to_string(least) + " to " + std::to_string(most));
  return value;
}

double JsonMembers::number(const char* name, double least, double most) const {
  const json& value = member(name, "a number");
  if (!value.is_number()) refuse(name, "a number");
  const auto number = value.get<double>();
  if (number < least || number > most)
    refuse(name, "from " + json(least).dump() + " to " + json(most).dump());
  return number;
}

const std::string& JsonMembers::oneOf(const char* name, const char* a, const char* b) const {
  const std::string& value = text(name);
  if (value != a && value != b) refuse(name, std::string("\"") + a + "\" or \"" + b + "\"");
  return value;
}

std::optional<std::string> JsonMembers::textOrNull(const char* name) const {
  const auto found = object.find(name);
  if (found == object.end() || found->is_null()) return std::nullopt;
  if (!found->is_string()) refuse(name, "a text or null");
  return found->get<std::string>();
}

JsonMembers JsonMembers::members(const char* name) const {
  const json& value = member(name, "an object");
  if (!value.is_object()) refuse(name, "an object");
  return {root, value, prefix + name + "."};
}

void JsonMembers::allowOnly(const std::set<std::string>& names) const {
  for (const auto& [name, value] : object.items()) {
    if (names.contains(name)) continue;
    std::string known;
    for (const auto& one : names) known += (known.empty() ? "\"" : ", \"") + one + "\"";
    throw Refusal{
        400, "member \"" + prefix + name.substr(0, 64) + "\" is unknown here; known are " + known};
  }
}

}  // namespace quorvex::service
