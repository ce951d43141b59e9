#include <csignal>
#include <cstdlib>
#include <iostream>
#include <stdexcept>

#include "service/ProcessWatch.h"
#include "service/Service.h"

// quorvex-service: the face-swap service on this machine's loopback interface. Once it listens it
// prints one line of JSON on standard output, see Service::addressLine, and serves until it is told
// to end. Exit codes: 0 ended as told, 1 could not start, 2 bad options.

namespace {

using namespace quorvex::service;

int fail(int code, const std::string& why) {
  std::cerr << "quorvex-service: " << why << "\n";
  return code;
}

int serve(const Options& options) {
  ServiceLoop loop;
  const ProcessWatch watch(loop, options.exitWithParent, [&loop] { loop.stop(); });
  Service service(loop, options);
  if (const auto error = service.listen()) return fail(1, *error);
  std::cout << service.addressLine() << std::endl;
  loop.run();
  return EXIT_SUCCESS;
}

}  // namespace

int main(int count, char** arguments) {
  const auto parsed = parseOptions({arguments + 1, arguments + count});
  if (const auto* wrong = std::get_if<std::string>(&parsed)) return fail(2, *wrong);
  const auto& options = std::get<Options>(parsed);
  if (options.help) {
    std::cout << optionsHelp();
    return EXIT_SUCCESS;
  }
  if (options.version) {
    std::cout << "quorvex-service " QUORVEX_VERSION "\n";
    return EXIT_SUCCESS;
  }
  std::signal(SIGPIPE, SIG_IGN);
  try {
    return serve(options);
  } catch (const std::runtime_error& error) {
    return fail(1, error.what());
  }
}
