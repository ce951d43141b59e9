#include <gtest/gtest.h>

#include <algorithm>
#include <future>

#include "program/Doctor.h"
#include "program/DoctorChecks.h"

namespace quorvex {
namespace {

using std::chrono::milliseconds;
using enum Finding::State;
using Findings = std::vector<Finding>;

/// The state of the finding of that name, and its text; "none" when there is no such finding.
std::string told(const Findings& findings, const std::string& check) {
  const auto found = std::ranges::find(findings, check, &Finding::check);
  if (found == findings.end()) return "none";
  const char* const states[] = {"ok ", "note ", "problem "};
  return states[static_cast<int>(found->state)] + found->text;
}

TEST(Doctor, seesPicturesPassWithAWebcamTheServiceAndOneOutput) {
  const std::pair<std::vector<std::size_t>, bool> kCases[] = {
      {{3}, true}, {{4}, true}, {{3, 4}, false}, {{0}, false}, {{1}, false}, {{2}, false}};
  for (const auto& [closed, passes] : kCases) {
    Findings findings;
    for (const char* name : {"webcam", "service-web", "service-api", "v4l2-camera", "pipewire"})
      findings.push_back({name, "", ok, "", ""});
    for (const auto one : closed) findings[one].state = problem;
    EXPECT_EQ(picturesCanPass(findings), passes) << asText(findings);
  }
  EXPECT_FALSE(picturesCanPass({}));
}

TEST(Doctor, namesWhatDoesNotAnswerAndShowsNoPassword) {
  std::promise<void> release;
  const auto released = release.get_future().share();
  const Findings web{{"web", "Web", ok, "at https://me:secret@a/\033[2J", ""}};
  const auto [findings, complete] =
      examine({{"stuck", "Stuck", [released] { return released.wait(), Findings{}; }},
               {"web", "Web", [web] { return web; }}},
              milliseconds(200));
  release.set_value();
  EXPECT_FALSE(complete);
  EXPECT_EQ(told(findings, "stuck"), "problem has not answered within 0 s");
  EXPECT_EQ(told(findings, "web"), "ok at https://…@a/ [2J");
}

TEST(Doctor, knowsADriverThatIsNotLoadedAndOneWithoutOurDevice) {
  LoopbackModule module;
  module.built = true;
  EXPECT_EQ(told(driverFindings(module), "v4l2-driver"),
            "problem v4l2loopback is installed but not loaded");
  module.loaded = true;
  EXPECT_EQ(told(driverFindings(module), "v4l2-camera"),
            "problem the driver has no device named \"Quorvex Camera\"");
}

}  // namespace
}  // namespace quorvex
