#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <variant>

#include "Pomel/String.h"

namespace Agent {

/// What an operator asks of the running agent. Nothing of it changes anything.

/// Items that one answer may hold. Also cut where the answer gets long or the slice is over; the
/// asker goes on behind the last item it got.
inline constexpr std::uint32_t kMaxPageItems = 1000;
/// Of a path, and of what a list goes on behind.
inline constexpr std::size_t kMaxPathBytes = 4096;

/// Which piece of a list is wanted: the first, or the one behind an item.
struct Page {
  std::optional<std::string> after;  ///< The `next` of the answer before.
  std::uint32_t limit = kMaxPageItems;
};

/// The rows of a VRF, table by table.
struct ShowTables {
  Pomel::String vrf;
  Page page;
};
/// An entity of the state store, or a collection of one.
struct ShowEntity {
  std::string path;
  Page page;
};
struct ShowStats {};
struct ListVrfs {
  Page page;
};
struct ListClients {
  Page page;
};
struct ListInterfaces {
  Page page;
};

using Inspection =
    std::variant<ShowTables, ShowEntity, ShowStats, ListVrfs, ListClients, ListInterfaces>;

}  // namespace Agent
