#pragma once

#include "platform/OpenPanel.h"

namespace quorvex {

/// Qt's file dialog. Needs a QApplication.
class QtOpenPanel : public OpenPanel {
 public:
  [[nodiscard]] std::optional<std::string> chooseImage(const std::string& prompt,
                                                       const std::string& message) override;
};

}  // namespace quorvex
