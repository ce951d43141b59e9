#pragma once

#include <deque>
#include <map>
#include <memory>
#include <optional>
#include <string>

#include "service/Clients.h"
#include "service/Faults.h"
#include "service/ServiceLoop.h"

namespace quorvex::service {

/// Who may have a peer: gives out the places that `Faults` allows and keeps the queue of those who
/// wait for one. A place is a client's while it has a peer; one that is admitted from the queue has
/// its place reserved until it offers again. Used on the service's thread.
class Admission {
 public:
  static constexpr Seconds kReserved{15};

  /// Takes over the clients' listener. `longest`: for which a place stays reserved.
  Admission(ServiceLoop& loop, Clients& clients, const Faults& faults, Seconds longest = kReserved);

  /// `client` offers: none when it may have a peer now, else its position in the queue, which it
  /// keeps however often it offers.
  [[nodiscard]] std::optional<int> ask(const Client& client);
  /// Counted from 1; none when the client does not wait.
  [[nodiscard]] std::optional<int> positionOf(const std::string& id) const;
  /// Places, clients or faults may have changed. Soon after, those whose turn it is are admitted,
  /// and those who wait are told where they stand.
  void update();

 private:
  struct Waiting {
    std::string id;
    std::weak_ptr<SocketLink> toldOn;  ///< what follows is known there
    int position = 0;
    int total = 0;
  };

  [[nodiscard]] bool hasFreePlace() const;
  void settle();
  void admit(const Client& client);
  void tell(Waiting& waiting, int position, int total);

  ServiceLoop& loop;
  Clients& clients;
  const Faults& faults;
  const Seconds longestReserved;
  std::deque<Waiting> queue;
  std::map<std::string, std::unique_ptr<Timer>> reserved;  ///< by id; the timer ends it
  std::unique_ptr<Timer> settling;
};

}  // namespace quorvex::service
