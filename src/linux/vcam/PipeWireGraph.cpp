#include "linux/vcam/PipeWireGraph.h"

#include <pipewire/extensions/metadata.h>
#include <pipewire/pipewire.h>

#include <cerrno>
#include <cstring>
#include <map>

#include "linux/vcam/PipeWireSocket.h"
#include "linux/vcam/VirtualCameraOutput.h"

namespace quorvex {
namespace {

std::string property(const spa_dict* properties, const char* key) {
  const char* value = properties ? spa_dict_lookup(properties, key) : nullptr;
  return value ? value : "";
}

/// One conversation with the daemon: it lists all that it has, then says that it is done.
class Listing {
 public:
  explicit Listing(std::chrono::milliseconds patience) : limit(patience) {
    pw_init(nullptr, nullptr);
    loop = pw_main_loop_new(nullptr);
    if (loop) context = pw_context_new(pw_main_loop_get_loop(loop), nullptr, 0);
  }
  ~Listing() {
    if (registry) pw_proxy_destroy(reinterpret_cast<pw_proxy*>(registry));
    if (core) pw_core_disconnect(core);
    if (timer) pw_loop_destroy_source(pw_main_loop_get_loop(loop), timer);
    if (context) pw_context_destroy(context);
    if (loop) pw_main_loop_destroy(loop);
    pw_deinit();
  }
  Listing(const Listing&) = delete;
  Listing& operator=(const Listing&) = delete;

  /// Empty when all has come; else what is in the way.
  [[nodiscard]] std::string run(UniqueFd connection) {
    if (!context) return std::strerror(errno);
    pw_loop* const events = pw_main_loop_get_loop(loop);
    timer = pw_loop_add_timer(
        events,
        [](void* self, std::uint64_t) {
          static_cast<Listing*>(self)->end("nothing has come from it");
        },
        this);
    timespec wait{limit.count() / 1000, limit.count() % 1000 * 1'000'000};
    core = pw_context_connect_fd(context, connection.release(), nullptr, 0);
    if (!timer || !core || pw_loop_update_timer(events, timer, &wait, nullptr, false) < 0)
      return std::strerror(errno);
    pw_core_add_listener(core, &coreHook, &kCoreEvents, this);
    registry = pw_core_get_registry(core, PW_VERSION_REGISTRY, 0);
    if (!registry) return std::strerror(errno);
    pw_registry_add_listener(registry, &registryHook, &kRegistryEvents, this);
    expected = pw_core_sync(core, PW_ID_CORE, 0);
    pw_main_loop_run(loop);
    return obstacle;
  }

  [[nodiscard]] PipeWireGraph graph() const {
    PipeWireGraph found;
    found.sessionManager = sessionManager;
    found.camera = camera.has_value();
    for (const auto& [output, input] : links) {
      const auto reader = nodes.find(input);
      if (output == camera && reader != nodes.end()) found.readers.push_back(reader->second);
    }
    return found;
  }

 private:
  static const pw_core_events kCoreEvents;
  static const pw_registry_events kRegistryEvents;

  void end(const char* why) {
    obstacle = why;
    pw_main_loop_quit(loop);
  }

  void add(std::uint32_t id, const std::string& type, const spa_dict* properties) {
    if (type == PW_TYPE_INTERFACE_Node) {
      const std::string name = property(properties, PW_KEY_NODE_NAME);
      if (name == kPipeWireNodeName) camera = std::to_string(id);
      nodes[std::to_string(id)] = name;
    } else if (type == PW_TYPE_INTERFACE_Link) {
      links.emplace_back(property(properties, PW_KEY_LINK_OUTPUT_NODE),
                         property(properties, PW_KEY_LINK_INPUT_NODE));
    } else if (type == PW_TYPE_INTERFACE_Metadata) {
      // What the session manager keeps its choices of default devices in.
      sessionManager = sessionManager || property(properties, PW_KEY_METADATA_NAME) == "default";
    }
  }

  const std::chrono::milliseconds limit;
  pw_main_loop* loop = nullptr;
  pw_context* context = nullptr;
  pw_core* core = nullptr;
  pw_registry* registry = nullptr;
  spa_source* timer = nullptr;
  spa_hook coreHook{};
  spa_hook registryHook{};
  int expected = 0;
  std::string obstacle;

  bool sessionManager = false;
  std::optional<std::string> camera;                       ///< its id
  std::map<std::string, std::string> nodes;                ///< names by id
  std::vector<std::pair<std::string, std::string>> links;  ///< from id to id
};

const pw_core_events Listing::kCoreEvents = [] {
  pw_core_events handlers{};
  handlers.version = PW_VERSION_CORE_EVENTS;
  handlers.done = [](void* data, std::uint32_t id, int sequence) {
    auto* self = static_cast<Listing*>(data);
    if (id == PW_ID_CORE && sequence == self->expected) self->end("");
  };
  handlers.error = [](void* data, std::uint32_t, int, int result, const char* message) {
    static_cast<Listing*>(data)->end(message ? message : std::strerror(-result));
  };
  return handlers;
}();

const pw_registry_events Listing::kRegistryEvents = [] {
  pw_registry_events handlers{};
  handlers.version = PW_VERSION_REGISTRY_EVENTS;
  handlers.global = [](void* data, std::uint32_t id, std::uint32_t, const char* type, std::uint32_t,
                       const spa_dict* properties) {
    static_cast<Listing*>(data)->add(id, type, properties);
  };
  return handlers;
}();

}  // namespace

std::optional<PipeWireGraph> PipeWireGraph::ask(std::chrono::milliseconds limit,
                                                std::string* problem, const std::string& remote) {
  const PipeWireSocket socket(remote);
  UniqueFd connection = socket.connect(problem);
  if (!connection) return std::nullopt;
  Listing listing(limit);
  const std::string obstacle = listing.run(std::move(connection));
  if (obstacle.empty()) return listing.graph();
  *problem = socket.explained(obstacle);
  return std::nullopt;
}

}  // namespace quorvex
