#pragma once

#include <cstdint>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "service/Http.h"

namespace quorvex::service {

/// Reads the members of a JSON object that came from outside. Everything that is missing or of the
/// wrong type ends in a `Refusal` naming the member and what it should be.
class JsonMembers {
 public:
  /// `what` names the text in refusals, for example "the body".
  static JsonMembers parse(const std::string& text, const std::string& what);

  [[nodiscard]] bool isEmpty() const { return object.empty(); }
  [[nodiscard]] bool has(const char* name) const { return object.contains(name); }
  [[nodiscard]] bool isNull(const char* name) const;  ///< there, and null
  [[nodiscard]] std::vector<std::string> names() const;
  [[nodiscard]] const nlohmann::json& document() const { return object; }
  [[nodiscard]] const std::string& text(const char* name) const;
  [[nodiscard]] const std::string& textOfSome(const char* name) const;  ///< not empty
  [[nodiscard]] bool flag(const char* name) const;
  [[nodiscard]] std::int32_t integer(const char* name) const;
  [[nodiscard]] int integer(const char* name, int least, int most) const;
  [[nodiscard]] double number(const char* name, double least, double most) const;
  [[nodiscard]] const std::string& oneOf(const char* name, const char* a, const char* b) const;
  [[nodiscard]] std::optional<std::string> textOrNull(const char* name) const;
  [[nodiscard]] JsonMembers members(const char* name) const;
  /// Refuses every member that is not one of these.
  void allowOnly(const std::set<std::string>& names) const;
  /// For what the caller finds wrong with a member: throws the `Refusal`.
  [[noreturn]] void refuse(const std::string& name, const std::string& expected) const;

 private:
  JsonMembers(std::shared_ptr<const nlohmann::json> whole, const nlohmann::json& part,
              std::string path)
      : root(std::move(whole)), object(part), prefix(std::move(path)) {}

  [[nodiscard]] const nlohmann::json& member(const char* name, const char* expected) const;

  std::shared_ptr<const nlohmann::json> root;
  const nlohmann::json& object;
  std::string prefix;  ///< of member names in refusals, for example "config."
};

}  // namespace quorvex::service
