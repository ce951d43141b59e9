#include "program/Doctor.h"

#include <algorithm>
#include <future>
#include <nlohmann/json.hpp>
#include <regex>
#include <thread>

namespace quorvex {
namespace {

struct Appearance {
  Finding::State state;
  const char* mark;
  const char* name;
};
constexpr Appearance kAppearances[] = {{Finding::State::ok, "✓", "ok"},
                                       {Finding::State::note, "–", "note"},
                                       {Finding::State::problem, "✗", "problem"}};

const Appearance& appearanceOf(const Finding& finding) {
  return *std::ranges::find(kAppearances, finding.state, &Appearance::state);
}

/// One line to be pasted into a report: names come from devices, programs and files of all sorts,
/// and an address that somebody has set may hold a password.
std::string presentable(std::string text) {
  static const std::regex kUserInfo("://[^/@\\s]*@");
  std::ranges::replace_if(
      text, [](unsigned char letter) { return letter < 0x20 || letter == 0x7f; }, ' ');
  return std::regex_replace(text, kUserInfo, "://…@");
}

Finding withoutAnswer(const Check& check, std::chrono::milliseconds limit) {
  return {check.name, check.title, Finding::State::problem,
          "has not answered within " + std::to_string(limit.count() / 1000) + " s",
          "Log in again, or restart the machine, and look once more"};
}

/// A check on its way.
struct Running {
  explicit Running(const Check& check) {
    std::packaged_task<std::vector<Finding>()> task(check.find);
    found = task.get_future();
    thread = std::thread(std::move(task));
  }

  std::future<std::vector<Finding>> found;
  std::thread thread;
};

bool works(const std::vector<Finding>& findings, const std::string& check) {
  return std::ranges::any_of(findings, [&](const Finding& finding) {
    return finding.check == check && finding.state != Finding::State::problem;
  });
}

}  // namespace

Examination examine(std::vector<Check> checks, std::chrono::milliseconds limit) {
  const auto end = std::chrono::steady_clock::now() + limit;
  std::vector<Running> all;
  all.reserve(checks.size());
  for (const Check& check : checks) all.emplace_back(check);
  Examination examination;
  for (std::size_t i = 0; i < checks.size(); ++i) {
    std::vector<Finding> found;
    if (all[i].found.wait_until(end) == std::future_status::ready) {
      all[i].thread.join();
      found = all[i].found.get();
    } else {
      all[i].thread.detach();
      examination.complete = false;
      found = {withoutAnswer(checks[i], limit)};
    }
    for (Finding& finding : found) {
      finding.text = presentable(std::move(finding.text));
      finding.mend = presentable(std::move(finding.mend));
      examination.findings.push_back(std::move(finding));
    }
  }
  return examination;
}

bool picturesCanPass(const std::vector<Finding>& findings) {
  return works(findings, "webcam") && works(findings, "service-web") &&
         works(findings, "service-api") &&
         (works(findings, "v4l2-camera") || works(findings, "pipewire"));
}

std::string asText(const std::vector<Finding>& findings) {
  std::size_t width = 0;
  for (const Finding& finding : findings) width = std::max(width, finding.title.size());
  std::string text;
  for (const Finding& finding : findings) {
    text += std::string(appearanceOf(finding).mark) + " " + finding.title +
            std::string(width - finding.title.size() + 2, ' ') + finding.text + "\n";
    if (!finding.mend.empty()) text += std::string(width + 4, ' ') + "→ " + finding.mend + "\n";
  }
  return text + (picturesCanPass(findings)
                     ? "\nSwapped pictures can reach other programs.\n"
                     : "\nSwapped pictures cannot reach other programs: mend what is marked ✗.\n");
}

std::string asJson(const std::vector<Finding>& findings) {
  using Ordered = nlohmann::ordered_json;
  Ordered all = Ordered::array();
  for (const Finding& finding : findings)
    all.push_back({{"check", finding.check},
                   {"title", finding.title},
                   {"state", appearanceOf(finding).name},
                   {"text", finding.text},
                   {"mend", finding.mend}});
  return all.dump(2, ' ', false, Ordered::error_handler_t::replace) + "\n";
}

}  // namespace quorvex
