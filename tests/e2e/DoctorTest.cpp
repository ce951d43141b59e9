// `quorvex-camera doctor` as a person runs it, on whatever machine this is.
#include <gmock/gmock.h>

#include <filesystem>
#include <map>

#include "e2e/HostRun.h"
#include "support/PrivatePipeWire.h"
#include "support/ServiceRun.h"

namespace quorvex::test {
namespace {

using ::testing::HasSubstr;

/// A bus that nobody listens on, so that no key store is started.
const std::string kNoBus = "DBUS_SESSION_BUS_ADDRESS=unix:path=/nonexistent";

TEST(Doctor, findsTheWayOpenWithAWebcamPipeWireAndTheService) {
  const PrivatePipeWire pipeWire;
  const ServiceRun service;
  auto environment = pipeWire.environment();
  environment.push_back(kNoBus);
  std::map<std::string, std::string> states;
  std::optional<int> code;
  ASSERT_TRUE(eventually([&] {  // until the session manager is there
    HostRun host(service.hostOptions({"doctor", "--json"}), environment);
    code = host.process->exitCode();
    for (const auto& finding : nlohmann::json::parse(host.printed()))
      states[finding["check"]] = finding["state"];
    return states["pipewire"] == "ok";
  }));
  EXPECT_EQ(states["pipewire-camera"], "note");
  EXPECT_EQ(states["service-web"], "ok");
  EXPECT_EQ(states["service-api"], "ok");
  EXPECT_EQ(states["key-store"], "note");
  EXPECT_EQ(code, states["webcam"] == "ok" ? 0 : 1);
}

TEST(Doctor, namesWhatIsClosedAndWhichSettingsAreBroken) {
  const TemporaryFolder folder;
  const std::string saved = folder / "config/quorvex-camera/settings.json",
                    conf = folder / "my.conf";
  std::filesystem::create_directories(folder / "config/quorvex-camera");
  std::ofstream(saved) << "{\"rc.enhance\": tr";
  std::ofstream(conf) << "api_bse = https://x.example\n";
  HostRun host({"doctor", "--config", conf}, {kNoBus, "PIPEWIRE_REMOTE=/nonexistent"},
               {"env", "XDG_CONFIG_HOME=" + (folder / "config")});
  EXPECT_EQ(host.process->exitCode(), 1);
  for (const std::string& line :
       {std::string("✗ PipeWire         PipeWire does not answer at /nonexistent"),
        std::string("✗ Service, web     not asked, as the settings cannot be used\n"),
        "✗ User settings    " + conf + ": there is no setting \"api_bse\"",
        "✗ Saved settings   " + saved + " is damaged\n"})
    EXPECT_THAT(host.printed(), HasSubstr(line));
  EXPECT_TRUE(std::filesystem::exists(saved)) << "nothing is changed by looking";
}

}  // namespace
}  // namespace quorvex::test
