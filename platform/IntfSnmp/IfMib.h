#pragma once

#include <cstdint>

#include "Lintu/IntfId.h"
#include "Qiv/Entity.h"
#include "Qiv/HashMap.h"

namespace IntfSnmp {

/// The interface MIB's view of interfaces: which ifIndex (RFC 2863; 1 to 2^31 - 1) each has.
class IfMib final : public Qiv::Entity {
 public:
  using Ptr = Qiv::Ptr<IfMib>;
  using PtrConst = Qiv::Ptr<const IfMib>;
  using IfIndexByIntfId = Qiv::HashMap<Lintu::IntfId, std::uint32_t>;

  [[nodiscard]] const Qiv::TypeInfo& typeInfo() const override;

  [[nodiscard]] const IfIndexByIntfId& ifIndexByIntfId() const noexcept { return ifIndexByIntfId_; }
  /// True when that changed anything.
  bool ifIndexByIntfIdIs(const Lintu::IntfId& intfId, std::uint32_t ifIndex) {
    return ifIndexByIntfId_.set(intfId, ifIndex);
  }
  /// A state machine that watches the interface ends the process at this; hosts keep the index of
  /// an interface that went away.
  void ifIndexByIntfIdDel(const Lintu::IntfId& intfId) { ifIndexByIntfId_.erase(intfId); }

 private:
  IfIndexByIntfId ifIndexByIntfId_;
};

}  // namespace IntfSnmp
