#include <gmock/gmock.h>

#include <QCoreApplication>
#include <filesystem>
#include <fstream>

#include "fakes/ManualQueue.h"
#include "linux/desktop/DriverActivation.h"
#include "support/Eventually.h"
#include "support/TemporaryFolder.h"

namespace quorvex::test {
namespace {

using namespace testing;

struct Requester : SystemExtensionRequestDelegate {
  ReplacementAction actionForReplacingExtension() override { return ReplacementAction::replace; }
  void requestNeedsUserApproval() override { news.emplace_back("needs approval"); }
  void requestDidFinish(int result) override {
    news.push_back("finished " + std::to_string(result));
  }
  void requestDidFail(const SystemExtensionError& error) override {
    news.push_back(std::to_string(error.code) + ": " + error.localizedDescription);
  }
  std::vector<std::string> news;
};

/// What is heard of a request for which `launcher` runs a program that ends as `script` says.
std::vector<std::string> newsOf(const std::string& script, std::vector<std::string> launcher = {},
                                int requests = 1) {
  int count = 0, begun = 0;
  const QCoreApplication application(count, nullptr);
  const TemporaryFolder folder;
  const std::string program = folder / "setup";
  std::ofstream(program) << "#!/bin/sh\n" << script << "\n";
  std::filesystem::permissions(program, std::filesystem::perms::owner_all);
  if (script.empty()) std::filesystem::remove(program);
  VirtualClock clock;
  ManualQueue mainQueue(clock);
  const auto begin = [&] { return ++begun, std::optional<std::string>(); };
  DriverActivation activation(mainQueue, {begin, [] {}, [] {}}, program, std::move(launcher));
  const auto requester = std::make_shared<Requester>();
  for (int i = 0; i < requests; ++i) activation.submitActivationRequest("id", requester);
  EXPECT_EQ(begun, 1);
  EXPECT_TRUE(eventually([&] {
    QCoreApplication::processEvents();
    mainQueue.run();
    return !requester->news.empty() && requester->news.back() != "needs approval";
  }));
  return requester->news;
}

TEST(DriverActivationTest, endsAsTheProgramAndItsLauncherSay) {
  const std::vector<std::string> launcher{"/usr/bin/env"};
  EXPECT_THAT(newsOf("[ \"$*\" = install ]", {}, 2), ElementsAre("finished 0"));
  EXPECT_THAT(newsOf("exit 3"), ElementsAre("finished 1"));
  EXPECT_THAT(newsOf("echo 'no driver; run: this' >&2; exit 1", launcher),
              ElementsAre("needs approval", "1: no driver; run: this"));
  EXPECT_THAT(newsOf("exit 126", launcher).back(), HasSubstr("126: The request was dismissed;"));
  EXPECT_THAT(newsOf("echo Error >&2; exit 127", launcher).back(),
              HasSubstr("127: This user may not set the camera up; ask who may to run: sudo /"));
  EXPECT_THAT(newsOf("kill -9 $$").back(), HasSubstr("; look at: journalctl -b"));
  EXPECT_THAT(newsOf("exit 0", {"no-such-launcher"}).back(),
              HasSubstr("5: pkexec is not installed;"));
  EXPECT_THAT(newsOf(""), ElementsAre(HasSubstr(" is not installed; install the package")));
}

}  // namespace
}  // namespace quorvex::test
