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

/// The options' camera, `automatic` made definite: in the demo the test pattern stands in for a
/// webcam that is not there.
[[nodiscard]] Options::Camera chosenCamera(const Options& options);

/// The camera that `choice` stands for. `log` takes lines for people, on any thread.
[[nodiscard]] std::unique_ptr<CameraProvider> makeCamera(Options::Camera choice,
                                                         const Options& options,
                                                         const std::shared_ptr<FrameLedger>& ledger,
                                                         std::function<void(std::string_view)> log);

}  // namespace quorvex
