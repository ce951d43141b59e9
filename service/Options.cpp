#include "service/Options.h"

#include <charconv>
#include <functional>

namespace quorvex::service {
namespace {

constexpr int kLeastSide = 16;
constexpr int kLargestSide = 4096;

template <class Number>
std::optional<Number> wholeNumber(const std::string& text) {
  Number number{};
  const auto end = text.data() + text.size();
  const auto [stopped, error] = std::from_chars(text.data(), end, number);
  if (error != std::errc() || stopped != end) return std::nullopt;
  return number;
}

bool setPort(Options& options, const std::string& value) {
  const auto port = wholeNumber<std::uint16_t>(value);
  if (port) options.port = *port;
  return port.has_value();
}

bool setSize(Options& options, const std::string& value) {
  const auto cross = value.find('x');
  if (cross == std::string::npos) return false;
  const auto width = wholeNumber<int>(value.substr(0, cross));
  const auto height = wholeNumber<int>(value.substr(cross + 1));
  if (!width || !height) return false;
  for (const int side : {*width, *height})
    if (side < kLeastSide || side > kLargestSide) return false;
  options.size = PictureSize{*width, *height};
  return true;
}

bool addIceServer(Options& options, const std::string& value) {
  const auto user = value.find(',');
  IceServerOption server{.url = value.substr(0, user), .username = {}, .credential = {}};
  bool known = false;
  for (const char* scheme : {"stun:", "stuns:", "turn:", "turns:"})
    known |= server.url.starts_with(scheme) && server.url.size() > std::string(scheme).size();
  if (!known) return false;
  if (user != std::string::npos) {
    const auto credential = value.find(',', user + 1);
    if (credential == std::string::npos) return false;
    server.username = value.substr(user + 1, credential - user - 1);
    server.credential = value.substr(credential + 1);
  }
  options.iceServers.push_back(std::move(server));
  return true;
}

bool takeFaults(Options& options, const std::string& value) {
  options.faults.take(JsonMembers::parse(value, "the value"));
  return true;
}

struct OptionRow {
  const char* name;
  const char* value;  ///< what follows the name; none for a switch
  const char* help;
  std::function<bool(Options&, const std::string&)> set;  ///< false or a refusal: it is wrong
};

OptionRow switchRow(const char* name, bool Options::*field, const char* help) {
  return {name, nullptr, help, [field](Options& options, const std::string&) {
            options.*field = true;
            return true;
          }};
}

const std::vector<OptionRow>& table() {
  static const std::vector<OptionRow> rows = {
      {"--port", "N", "listen on this port of 127.0.0.1, 0 to 65535 (default 0: any free one)",
       setPort},
      {"--size", "WxH", "send pictures of this size, sides 16 to 4096 (default: as received)",
       setSize},
      {"--ice-server", "URL[,USER,CREDENTIAL]",
       "an ICE server for the hosts, stun:, stuns:, turn: or turns: (may be repeated)",
       addIceServer},
      {"--faults", "JSON",
       "misbehave as this JSON object says, see docs/testing-faults.md (may be repeated)",
       takeFaults},
      switchRow("--exit-with-parent", &Options::exitWithParent,
                "end when standard input ends or the parent process dies"),
      switchRow("--log", &Options::log, "write one line a request to standard error"),
      switchRow("--version", &Options::version, "print the version and end"),
      switchRow("--help", &Options::help, "print this text and end"),
  };
  return rows;
}

const OptionRow* rowNamed(const std::string& name) {
  for (const auto& row : table())
    if (name == row.name) return &row;
  return nullptr;
}

}  // namespace

std::variant<Options, std::string> parseOptions(const std::vector<std::string>& arguments) {
  Options options;
  for (auto argument = arguments.begin(); argument != arguments.end(); ++argument) {
    const auto equals = argument->starts_with("--") ? argument->find('=') : std::string::npos;
    const std::string name = argument->substr(0, equals);
    const OptionRow* row = rowNamed(name);
    if (!row) return "\"" + name + "\" is not an option; --help lists them";
    std::string value;
    if (!row->value && equals != std::string::npos) return name + " takes no value";
    if (row->value) {
      if (equals != std::string::npos)
        value = argument->substr(equals + 1);
      else if (++argument != arguments.end())
        value = *argument;
      else
        return name + " needs a value: " + row->value;
    }
    try {
      if (!row->set(options, value))
        return name + " cannot be \"" + value + "\": give " + row->value + ", " + row->help;
    } catch (const Refusal& refusal) {
      return name + ": " + refusal.why;
    }
  }
  return options;
}

std::string optionsHelp() {
  std::string text =
      "Usage: quorvex-service [options]\n"
      "The face-swap service on this machine's loopback interface. Prints one JSON line with its\n"
      "addresses when it listens; ends on SIGTERM and SIGINT.\n\n";
  for (const auto& row : table()) {
    const std::string left =
        std::string(row.name) + (row.value ? std::string(" ") + row.value : "");
    text += "  " + left + "\n        " + row.help + "\n";
  }
  return text;
}

}  // namespace quorvex::service
