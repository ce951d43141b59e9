#include <gmock/gmock.h>

#include <fstream>

#include "linux/driver/DriverSetup.h"
#include "support/TemporaryFolder.h"

namespace quorvex::test {
namespace {

using namespace testing;
using End = DriverSetup::End;

constexpr const char* kModules = "lib/modules/6.1.0-42-amd64/";
constexpr const char* kOptions = "etc/modprobe.d/quorvex-camera.conf";

/// A machine as the setup sees it: the files it looks at, and the commands it runs, of which some
/// change the files.
class DriverSetupTest : public ::testing::Test {
 protected:
  DriverSetupTest() {
    put("proc/sys/kernel/osrelease", "6.1.0-42-amd64\n");
    put("etc/os-release", "ID=debian\n");
  }
  void put(const std::string& name, const std::string& text) const {
    const auto file = root / name;
    std::filesystem::create_directories(file.parent_path());
    std::ofstream(file) << text;
  }
  [[nodiscard]] std::string read(const std::string& name) const { return contentOf(root / name); }
  void build() const { put(std::string(kModules) + "modules.dep", "updates/v4l2loopback.ko:\n"); }
  void makeCamera(int number) const {
    const std::string name = "video" + std::to_string(number);
    put("sys/module/v4l2loopback/version", "0.12.7\n");
    put("sys/class/video4linux/" + name + "/name", "Quorvex Camera\n");
    put("dev/" + name, "");
  }
  DriverSetup::Outcome install() {
    const auto run = [this](const std::vector<std::string>& command) {
      commands.emplace_back();
      for (const auto& word : command) commands.back() += word + " ";
      if (answer.status == 0 && onCommand) onCommand();
      return answer;
    };
    return DriverSetup(root, run).install();
  }

  TemporaryFolder folder;
  const std::filesystem::path root{std::filesystem::path(folder / "root")};
  std::vector<std::string> commands;
  std::function<void()> onCommand;
  DriverSetup::CommandResult answer;
};

TEST_F(DriverSetupTest, loadsTheDriverAndHasItLoadedFromThenOn) {
  build();
  put("sys/class/video4linux/video42/name", "Somebody's\n");
  onCommand = [this] { makeCamera(43); };
  EXPECT_EQ(install().end, End::done);
  const std::string options =
      "v4l2loopback exclusive_caps=1 max_buffers=4 card_label=\"Quorvex Camera\" video_nr=43";
  EXPECT_THAT(commands, ElementsAre("modprobe " + options + " "));
  EXPECT_THAT(read(kOptions), HasSubstr("\noptions " + options + "\n"));
  EXPECT_THAT(read("etc/modules-load.d/quorvex-camera.conf"), HasSubstr("\nv4l2loopback\n"));
  EXPECT_EQ(install().end, End::done) << "again";
  EXPECT_EQ(commands.size(), 1U);
  EXPECT_EQ(DriverSetup(root, nullptr).remove().end, End::done);
  EXPECT_EQ(read(kOptions), "");
}

TEST_F(DriverSetupTest, namesTheOneNextCommand) {
  const auto message = [&] {
    const auto outcome = install();
    EXPECT_EQ(outcome.end, End::failed);
    EXPECT_EQ(read(kOptions), "");
    return outcome.message;
  };
  EXPECT_EQ(message(),
            "v4l2loopback, the driver behind the camera, is not installed; run: sudo apt install "
            "v4l2loopback-dkms linux-headers-6.1.0-42-amd64, then choose Re-install extension");
  put("etc/os-release", "ID=\"nobara\"\nID_LIKE=\"rhel centos fedora\"\n");
  EXPECT_THAT(message(), HasSubstr("; run: sudo dnf install akmod-v4l2loopback"));
  put("etc/os-release", "ID=debian\n");
  put("usr/src/v4l2loopback-0.12.7/dkms.conf", "");
  EXPECT_THAT(message(), HasSubstr("run: sudo apt install linux-headers-6.1.0-42-amd64"));
  put(std::string(kModules) + "build/Makefile", "");
  EXPECT_THAT(message(), HasSubstr("; run: sudo dkms autoinstall"));
  EXPECT_THAT(commands, IsEmpty());
  build();
  answer = {1, "modprobe: ERROR: could not insert 'v4l2loopback': Key was rejected by service\n"};
  EXPECT_THAT(message(), HasSubstr("run: sudo mokutil --import /var/lib/dkms/mok.pub, restart"));
  answer.output = "modprobe: ERROR: could not insert 'v4l2loopback': Operation not permitted\n";
  EXPECT_THAT(message(), HasSubstr("Operation not permitted); look at: sudo dmesg"));
  put("sys/firmware/efi/efivars/SecureBoot-8be4df61-93ca-11d2-aa0d-00e098032b8c", "\6...\1");
  EXPECT_THAT(message(), HasSubstr("Secure Boot"));
  answer.status = 0;
  EXPECT_EQ(message(), "v4l2loopback was loaded and shows no camera; look at: sudo dmesg");
  put("sys/module/v4l2loopback/version", "0.12.7\n");
  answer.status = 1;
  EXPECT_THAT(message(), HasSubstr("is in use with other options; close the programs"));
}

TEST_F(DriverSetupTest, waitsForARestartWhereTheSystemWasUpdated) {
  put("lib/modules/6.1.0-43-amd64/modules.dep", "updates/v4l2loopback.ko:\n");
  EXPECT_EQ(install().end, End::afterRestart);
  EXPECT_THAT(read(kOptions), HasSubstr("video_nr=42"));
}

TEST_F(DriverSetupTest, leavesTheOptionsOfOtherProgramsAlone) {
  const std::string theirs = "options v4l2loopback exclusive_caps=1 card_label=\"OBS Camera\"\n";
  put("usr/lib/modprobe.d/98-v4l2loopback.conf", theirs);
  build();
  onCommand = [this] { put("sys/module/v4l2loopback/version", "0.12.7\n"); };
  EXPECT_THAT(install().message, HasSubstr("98-v4l2loopback.conf has v4l2loopback loaded for "));
  EXPECT_THAT(install().message, HasSubstr(R"(1,1 max_buffers=4 card_label="OBS Camera,Quorvex)"));
  put("dev/v4l2loopback", "");  // as drivers from 0.13 on have it
  onCommand = [this] { makeCamera(42); };
  EXPECT_EQ(install().end, End::done);
  EXPECT_THAT(commands,
              ElementsAre("modprobe v4l2loopback ",
                          "v4l2loopback-ctl add -n Quorvex Camera -x 1 -b 4 /dev/video42 "));
  EXPECT_EQ(read("usr/lib/modprobe.d/98-v4l2loopback.conf"), theirs);
  EXPECT_EQ(read(kOptions), "");
}

}  // namespace
}  // namespace quorvex::test
