#include "auth/RedirectRequest.h"

#include <cctype>
#include <string_view>

namespace quorvex {
namespace {

/// The first piece of `text` between separators that is not empty, taken off its front.
std::string_view nextPiece(std::string_view& text, std::string_view separator) {
  while (text.starts_with(separator)) text.remove_prefix(separator.size());
  const std::string_view piece = text.substr(0, text.find(separator));
  text.remove_prefix(piece.size());
  return piece;
}

std::optional<int> hexDigit(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  const char lower = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  if (lower >= 'a' && lower <= 'f') return lower - 'a' + 10;
  return std::nullopt;
}

/// None when a character stands in it that no URL may hold, or a broken escape.
std::optional<std::string> unescaped(std::string_view text) {
  constexpr std::string_view kMarks = "-._~:/?#[]@!$&'()*+,;=";
  std::string plain;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] == '%') {
      if (i + 2 >= text.size()) return std::nullopt;
      const auto high = hexDigit(text[i + 1]), low = hexDigit(text[i + 2]);
      if (!high || !low) return std::nullopt;
      plain += static_cast<char>(*high << 4 | *low);
      i += 2;
    } else if (std::isalnum(static_cast<unsigned char>(text[i])) ||
               kMarks.find(text[i]) != std::string_view::npos) {
      plain += text[i];
    } else {
      return std::nullopt;
    }
  }
  return plain;
}

std::optional<std::string> queryItem(std::string_view query, std::string_view name) {
  while (!query.empty()) {
    const std::string_view item = query.substr(0, query.find('&'));
    query.remove_prefix(std::min(item.size() + 1, query.size()));
    const auto equals = item.find('=');
    if (unescaped(item.substr(0, equals)) != name) continue;
    if (equals == std::string_view::npos) return std::nullopt;
    return unescaped(item.substr(equals + 1));
  }
  return std::nullopt;
}

}  // namespace

RedirectRequest parseRedirect(const std::string& request) {
  std::string_view text = request;
  std::string_view line = nextPiece(text, "\r\n");
  (void)nextPiece(line, " ");
  std::string_view target = nextPiece(line, " ");
  if (!unescaped(target)) return {};
  target = target.substr(0, target.find('#'));
  const auto mark = target.find('?');
  if (mark == std::string_view::npos) return {};
  const std::string_view query = target.substr(mark + 1);
  return {.code = queryItem(query, "code"), .state = queryItem(query, "state")};
}

std::string signedInPage() {
  const std::string body =
      "<html><body style=\"font-family:system-ui;text-align:center;margin-top:18vh\">\n"
      "<h2>Signed in to Quorvex Camera</h2><p>You can close this tab and return to the app.</p>\n"
      "</body></html>";
  return "HTTP/1.1 200 OK\r\nContent-Type: text/html; charset=utf-8\r\nContent-Length: " +
         std::to_string(body.size()) + "\r\nConnection: close\r\n\r\n" + body;
}

}  // namespace quorvex
