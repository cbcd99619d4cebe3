#pragma once

#include <compare>
#include <set>

#include "Pomel/String.h"
#include "Qiv/Publisher.h"

namespace Snmp {

/// A MIB module's presence in an SNMP context.
struct MibContext {
  Pomel::String context;
  Pomel::String module;

  friend bool operator==(const MibContext&, const MibContext&) = default;
  friend auto operator<=>(const MibContext&, const MibContext&) = default;
};

/// Tells that `module` is present in `context`; a no-op when it is known. When a module comes up in
/// the context "default", it is started in the empty context too, where managers look that name
/// none, unless it is there already.
void registerMibContext(const Pomel::String& context, const Pomel::String& module);

/// Tells that `module` has left `context`; a no-op when it was not there.
void unregisterMibContext(const Pomel::String& context, const Pomel::String& module);

/// Everything present now, for a listener that comes late.
[[nodiscard]] const std::set<MibContext>& mibContexts();

/// Where each appearance (true) and departure (false) is published, once, after mibContexts() has
/// changed.
[[nodiscard]] Qiv::Publisher<MibContext, bool>& mibContextChanges();

}  // namespace Snmp
