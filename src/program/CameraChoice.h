#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "linux/cameras/FrameLedger.h"
#include "platform/Camera.h"
#include "program/Options.h"

namespace quorvex {

/// Why the camera that the options name cannot be used and how to mend it; none when it can. A
/// camera that may be plugged in later is no problem.
[[nodiscard]] std::optional<std::string> cameraProblem(const Options& options);

/// The camera that the options name. In the demo the test pattern follows the webcams, so that it
/// stands in for one that is not there. `log` takes lines for people, on any thread.
[[nodiscard]] std::unique_ptr<CameraProvider> makeCamera(const Options& options,
                                                         const std::shared_ptr<FrameLedger>& ledger,
                                                         std::function<void(std::string_view)> log);

}  // namespace quorvex
