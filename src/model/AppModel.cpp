#include "model/AppModel.h"

namespace quorvex {

AppModel::AppModel(const Defaults& defaults)
    : needsConsent(*this, !defaults.boolean("rc.consent.v1")) {}

std::string AppModel::queueLabel() const {
  if (!queuePosition.get()) return "In queue…";
  std::string label = "In queue — #" + std::to_string(*queuePosition.get());
  if (queueTotal.get()) label += " of " + std::to_string(*queueTotal.get());
  return label;
}

std::shared_ptr<void> AppModel::observe(Observer observer) {
  auto handle = std::make_shared<Observer>(std::move(observer));
  observers.push_back(handle);
  return handle;
}

void AppModel::willChange(const void* field) {
  std::erase_if(observers, [](const auto& observer) { return observer.expired(); });
  // An observer may add or drop others while it is told.
  for (const auto& observer : std::vector(observers))
    if (auto alive = observer.lock()) (*alive)(field);
}

}  // namespace quorvex
