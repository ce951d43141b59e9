#include "linux/driver/LoopbackModule.h"

#include <fcntl.h>
#include <linux/videodev2.h>
#include <sys/ioctl.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstring>
#include <fstream>
#include <iterator>
#include <map>
#include <regex>
#include <set>
#include <sstream>
#include <string_view>
#include <system_error>

#include "linux/UniqueFd.h"
#include "platform/CoreMediaIO.h"

namespace quorvex {
namespace {

namespace fs = std::filesystem;

constexpr const char* kDriver = "v4l2 loopback";
constexpr const char* kOwnOptions = "quorvex-camera.conf";
constexpr const char* kSecureBootVariable =
    "sys/firmware/efi/efivars/SecureBoot-8be4df61-93ca-11d2-aa0d-00e098032b8c";

std::string contentsOf(const fs::path& file) {
  std::ifstream stream(file, std::ios::binary);
  return {std::istreambuf_iterator<char>(stream), {}};
}

std::string firstLineOf(const fs::path& file) {
  std::string line;
  std::ifstream stream(file);
  std::getline(stream, line);
  return line;
}

/// What is in `folder`, by name; nothing where it cannot be read.
std::set<fs::path> entriesOf(const fs::path& folder) {
  std::error_code error;
  std::set<fs::path> entries;
  for (fs::directory_iterator entry(folder, error), end; !error && entry != end;
       entry.increment(error))
    entries.insert(entry->path());
  return entries;
}

bool isThere(const fs::path& path) {
  std::error_code error;
  return fs::exists(path, error);
}

std::string distributionOf(const fs::path& root) {
  std::ifstream file(root / "etc/os-release");
  std::string id;
  std::string like;
  for (std::string line; std::getline(file, line);) {
    std::erase(line, '"');
    if (line.starts_with("ID=")) id = line.substr(3);
    if (line.starts_with("ID_LIKE=")) like = line.substr(8);
  }
  std::istringstream candidates(id + " " + like);
  for (std::string name; candidates >> name;) {
    if (name.starts_with("opensuse") || name == "suse") return "opensuse";
    for (const char* known : {"debian", "ubuntu", "fedora", "arch"})
      if (name == known) return name;
  }
  return id;
}

/// Whether modprobe finds the driver among the modules in `folder`.
bool hasDriver(const fs::path& folder) {
  return contentsOf(folder / "modules.dep").find("v4l2loopback.ko") != std::string::npos;
}

std::vector<LoopbackModule::Options> optionsOfOthers(const fs::path& root) {
  static const std::regex isOurs(R"(^[ \t]*options[ \t]+v4l2loopback[ \t])", std::regex::multiline);
  static const std::regex label(R"re(card_label=(?:"([^"]*)"|([^\s"]+))|"card_label=([^"]*)")re");
  std::vector<LoopbackModule::Options> found;
  std::set<fs::path> seen;
  // As modprobe has it: a file hides those of its name in the folders after its own.
  for (const char* folder : {"etc/modprobe.d", "run/modprobe.d", "usr/local/lib/modprobe.d",
                             "usr/lib/modprobe.d", "lib/modprobe.d"}) {
    for (const fs::path& file : entriesOf(root / folder)) {
      if (file.extension() != ".conf" || !seen.insert(file.filename()).second) continue;
      const std::string text = contentsOf(file);
      if (file.filename() == kOwnOptions || !std::regex_search(text, isOurs)) continue;
      std::smatch match;
      const bool labelled = std::regex_search(text, match, label);
      found.push_back({file, labelled ? match.str(1) + match.str(2) + match.str(3) : ""});
    }
  }
  return found;
}

/// The nodes with the virtual camera's label, by number: the kernel shows labels without the
/// devices being opened.
std::map<int, std::string> labelledNodes(const fs::path& root) {
  constexpr std::string_view kPrefix = "video";
  std::map<int, std::string> byNumber;
  for (const fs::path& entry : entriesOf(root / "sys/class/video4linux")) {
    const std::string name = entry.filename().string();
    int number = 0;
    const char* last = name.data() + name.size();
    if (name.starts_with(kPrefix) &&
        std::from_chars(name.data() + kPrefix.size(), last, number).ptr == last &&
        firstLineOf(entry / "name") == kVirtualCameraName)
      byNumber[number] = name;
  }
  return byNumber;
}

/// None when it is gone, or no device of the driver. One that cannot be looked at is there all the
/// same; feeding it will tell what is in the way.
std::optional<LoopbackModule::Device> deviceAt(const fs::path& root, const std::string& name) {
  LoopbackModule::Device device{"/dev/" + name};
  const fs::path path = root / "dev" / name;
  const UniqueFd node(::open(path.c_str(), O_RDWR | O_CLOEXEC | O_NONBLOCK));
  if (!node && (errno == ENOENT || errno == ENODEV || errno == ENXIO)) return std::nullopt;
  v4l2_capability capability{};
  if (!node || ::ioctl(node.get(), VIDIOC_QUERYCAP, &capability) != 0) return device;
  if (std::strcmp(reinterpret_cast<const char*>(capability.driver), kDriver) != 0)
    return std::nullopt;
  constexpr std::uint32_t kBoth = V4L2_CAP_VIDEO_CAPTURE | V4L2_CAP_VIDEO_OUTPUT;
  device.exclusive = (capability.device_caps & kBoth) != kBoth;
  return device;
}

}  // namespace

std::optional<LoopbackModule::Device> LoopbackModule::findCamera(const fs::path& root) {
  for (const auto& [number, name] : labelledNodes(root))
    if (auto found = deviceAt(root, name)) return found;
  return std::nullopt;
}

LoopbackModule LoopbackModule::read(const fs::path& root) {
  LoopbackModule module;
  module.kernel = firstLineOf(root / "proc/sys/kernel/osrelease");
  module.distribution = distributionOf(root);
  const fs::path modules = root / "lib/modules";
  module.built = hasDriver(modules / module.kernel);
  module.builtForAnother = !module.built && std::ranges::any_of(entriesOf(modules), hasDriver);
  module.source = std::ranges::any_of(entriesOf(root / "usr/src"), [](const fs::path& entry) {
    return entry.filename().string().starts_with("v4l2loopback");
  });
  module.headers = isThere(modules / module.kernel / "build/Makefile");
  module.secureBoot = contentsOf(root / kSecureBootVariable).ends_with('\1');
  module.loaded = isThere(root / "sys/module/v4l2loopback");
  module.version = firstLineOf(root / "sys/module/v4l2loopback/version");
  module.makesDevices = isThere(root / "dev/v4l2loopback");
  module.device = findCamera(root);
  module.otherOptions = optionsOfOthers(root);
  return module;
}

std::string LoopbackModule::obstacle() const {
  if (loaded || built) return {};
  if (builtForAnother)
    return "v4l2loopback is there for another kernel than the running " + kernel +
           "; restart the computer";
  const auto run = [](const std::string& command) {
    return "; run: sudo " + command + ", then choose Re-install extension";
  };
  const std::string headersPackage = "linux-headers-" + kernel;
  if (source) {
    const std::string what = "v4l2loopback is not built for the kernel " + kernel;
    if (headers) return what + run("dkms autoinstall");
    const std::string why = what + ", whose headers are missing";
    if (distribution == "debian" || distribution == "ubuntu")
      return why + run("apt install " + headersPackage);
    if (distribution == "fedora") return why + run("dnf install kernel-devel-" + kernel);
    if (distribution == "arch") return why + run("pacman -S linux-headers");
    return why + "; install them";
  }
  const std::string what = "v4l2loopback, the driver behind the camera, is not installed";
  if (distribution == "debian" || distribution == "ubuntu")
    return what + run("apt install v4l2loopback-dkms " + headersPackage);
  if (distribution == "fedora")
    return what + "; add RPM Fusion" + run("dnf install akmod-v4l2loopback");
  if (distribution == "arch") return what + run("pacman -S v4l2loopback-dkms linux-headers");
  if (distribution == "opensuse") return what + run("zypper install v4l2loopback-kmp-default");
  return what + "; install the package that brings it";
}

std::string LoopbackModule::keyRefusal() const {
  const char* key = distribution == "ubuntu"   ? "/var/lib/shim-signed/mok/MOK.der"
                    : distribution == "fedora" ? "/etc/pki/akmods/certs/public_key.der"
                                               : "/var/lib/dkms/mok.pub";
  return "Secure Boot does not know the key that v4l2loopback is signed with; run: sudo mokutil "
         "--import " +
         std::string(key) + ", restart, and choose Enroll MOK on the blue screen";
}

}  // namespace quorvex
