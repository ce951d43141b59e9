#include "service/Admission.h"

#include <algorithm>

namespace quorvex::service {
namespace {

// A reply to an offer is out before its client hears of the queue, where the newer word counts, and
// many changes at a time are one.
constexpr Seconds kSettlePause{0.1};

}  // namespace

Admission::Admission(ServiceLoop& serviceLoop, Clients& registry, const Faults& present,
                     Seconds longest)
    : loop(serviceLoop), clients(registry), faults(present), longestReserved(longest) {
  clients.onChange([this] { update(); });
}

bool Admission::hasFreePlace() const {
  if (faults.ahead > 0) return false;
  if (!faults.places) return true;
  const auto live = std::ranges::count_if(
      clients.all(), [](const auto& entry) { return entry.second.peer != nullptr; });
  return live + std::ssize(reserved) < *faults.places;
}

std::optional<int> Admission::ask(const Client& client) {
  if (reserved.erase(client.id) > 0 || client.peer) return std::nullopt;
  if (const auto position = positionOf(client.id)) {
    // The reply does not say how many wait: the next report does, anew.
    queue[static_cast<std::size_t>(*position - faults.ahead - 1)].toldOn.reset();
    update();
    return position;
  }
  if (queue.empty() && hasFreePlace()) return std::nullopt;
  queue.push_back({.id = client.id, .toldOn = {}});
  update();
  return positionOf(client.id);
}

std::optional<int> Admission::positionOf(const std::string& id) const {
  const auto found = std::ranges::find(queue, id, &Waiting::id);
  if (found == queue.end()) return std::nullopt;
  return faults.ahead + static_cast<int>(found - queue.begin()) + 1;
}

void Admission::update() {
  if (!settling) settling = loop.after(kSettlePause, [this] { settle(); });
}

void Admission::settle() {
  settling = nullptr;
  std::erase_if(queue, [&](const Waiting& one) { return !clients.find(one.id); });
  std::erase_if(reserved, [&](const auto& one) { return !clients.find(one.first); });
  while (hasFreePlace()) {
    // Who is away for a moment keeps its position and lets others pass.
    const auto next = std::ranges::find_if(
        queue, [&](const Waiting& one) { return !clients.find(one.id)->link.expired(); });
    if (next == queue.end()) break;
    const Client& client = *clients.find(next->id);
    queue.erase(next);
    admit(client);
  }
  int position = faults.ahead;
  const int total = faults.ahead + static_cast<int>(queue.size());
  for (auto& waiting : queue) tell(waiting, ++position, total);
}

void Admission::admit(const Client& client) {
  reserved[client.id] = loop.after(longestReserved, [this, id = client.id] {
    reserved.erase(id);
    update();
  });
  const auto link = client.link.lock();
  if (!link) return;
  if (faults.admitsByControl)
    link->say({{"type", "control"}, {"action", "start_connection"}});
  else
    link->say({{"type", "status_update"}, {"status", "not_queued"}});
}

void Admission::tell(Waiting& waiting, int position, int total) {
  const auto link = clients.find(waiting.id)->link.lock();
  if (!link) return;
  if (waiting.toldOn.lock() == link && waiting.position == position && waiting.total == total)
    return;
  waiting.toldOn = link;
  waiting.position = position;
  waiting.total = total;
  link->say({{"type", "status_update"},
             {"status", "queued"},
             {"position", position},
             {"total_in_queue", total}});
}

}  // namespace quorvex::service
