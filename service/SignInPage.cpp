#include "service/SignInPage.h"

#include <string_view>

#include "service/Encoding.h"

namespace quorvex::service {
namespace {

constexpr const char* kStyle = R"(
:root { color-scheme: light dark; --page: #eef0f4; --card: #fff; --text: #1c2030; --quiet: #5b6275;
  --edge: #c9cedb; --accent: #3446c9; --on-accent: #fff }
@media (prefers-color-scheme: dark) { :root { --page: #12141b; --card: #1d202b; --text: #eceef6;
  --quiet: #a4abc0; --edge: #444b60; --accent: #a9b4ff; --on-accent: #12141b } }
* { box-sizing: border-box }
body { margin: 0; min-height: 100vh; display: grid; place-items: center; padding: 1rem;
  background: var(--page); color: var(--text); font: 1rem/1.5 system-ui, sans-serif }
main { width: 100%; max-width: 26rem; padding: 2rem; border-radius: 1rem; background: var(--card);
  box-shadow: 0 .5rem 2rem #0002 }
h1 { margin: 0 0 .75rem; font-size: 1.4rem; line-height: 1.25 }
p { margin: 0 0 1.5rem; color: var(--quiet); overflow-wrap: anywhere }
p:last-child { margin: 0 }
strong { color: var(--text) }
form { display: flex; gap: .75rem }
button { flex: 1; padding: .7rem; border: 1px solid var(--edge); border-radius: .6rem;
  background: none; color: inherit; font: inherit; font-weight: 600; cursor: pointer }
button[value=allow] { background: var(--accent); border-color: var(--accent);
  color: var(--on-accent) }
button:focus-visible { outline: 3px solid var(--accent); outline-offset: 2px }
)";

std::string escaped(const std::string& text) {
  std::string safe;
  for (const char c : text)
    if (std::string_view("&<>\"'").find(c) == std::string_view::npos)
      safe += c;
    else
      safe += "&#" + std::to_string(c) + ";";
  return safe;
}

/// `content` is HTML. Browsers apply `formTargets` to where a form's reply redirects, too.
HttpReply page(int status, const std::string& title, const std::string& content,
               const std::string& formTargets) {
  const std::string nonce = base64Url(randomBytes(16));
  return {.status = status,
          .headers = {{"Content-Type", "text/html; charset=utf-8"},
                      {"Content-Security-Policy",
                       "default-src 'none'; base-uri 'none'; frame-ancestors 'none'; form-action " +
                           formTargets + "; style-src 'nonce-" + nonce + "'"},
                      {"X-Frame-Options", "DENY"},
                      {"X-Content-Type-Options", "nosniff"},
                      {"Referrer-Policy", "no-referrer"},
                      {"Cache-Control", "no-store"}},
          .text =
              "<!DOCTYPE html>\n<html lang=\"en\"><head><meta charset=\"utf-8\">\n"
              "<meta name=\"viewport\" content=\"width=device-width, initial-scale=1\">\n"
              "<title>" +
              title + "</title>\n<style nonce=\"" + nonce + "\">" + kStyle +
              "</style></head>\n<body><main><h1>" + title + "</h1>\n" + content +
              "</main></body></html>\n"};
}

}  // namespace

HttpReply signInPage(const std::string& ticket, std::uint16_t port) {
  const std::string place = "127.0.0.1:" + std::to_string(port);
  return page(200, "Sign in to Quorvex Camera",
              "<p>The program that waits at <strong>" + place +
                  "</strong> on this computer asks for your account. Allow it if you have just "
                  "begun to sign in there.</p>\n"
                  "<form method=\"post\" action=\"/native/authorize\">\n"
                  "<input type=\"hidden\" name=\"ticket\" value=\"" +
                  escaped(ticket) +
                  "\">\n"
                  "<button name=\"decision\" value=\"allow\">Allow</button>\n"
                  "<button name=\"decision\" value=\"deny\">Deny</button>\n</form>",
              "'self' http://" + place);
}

HttpReply signInRefused(const Refusal& refusal) {
  return page(refusal.status, "This sign-in cannot go on",
              "<p role=\"alert\">" + escaped(refusal.why) + "</p>", "'none'");
}

HttpReply redirected(const std::string& uri) {
  return {
      .status = 303,
      .headers = {
          {"Location", uri}, {"Referrer-Policy", "no-referrer"}, {"Cache-Control", "no-store"}}};
}

}  // namespace quorvex::service
