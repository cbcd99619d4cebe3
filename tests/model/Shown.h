#pragma once

#include <set>

#include "Qiv/Dir.h"
#include "Reference.h"

namespace Model {

/// What the store's directory of VRFs shows, in the reference's terms. Throws Difference where it
/// contradicts itself: a row whose key is not the one that its content asks for, an object whose
/// name is not its place's, an SNMP context without object or the other way.
struct Shown {
  Rows rows;
  std::set<std::string> contexts;
};
[[nodiscard]] Shown shown(const Qiv::Dir& conMonMibRoot);

/// The column of the clients' names of each table of a VRF, walked by SNMP in this process, against
/// the rows. Throws Difference.
void walkAgainst(const Rows& rows, const std::string& vrf);

/// All contexts end; the next world begins without any.
void endContexts();

}  // namespace Model
