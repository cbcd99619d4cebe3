#pragma once

#include "IntfSnmp/IfMib.h"
#include "Qiv/Dir.h"
#include "agent/control/Inspector.h"
#include "agent/control/ListAnswer.h"
#include "agent/feed/ClientRegistry.h"
#include "agent/feed/OperationQueue.h"
#include "agent/feed/RecordBook.h"
#include "agent/plugin/StartGate.h"

namespace Agent {

/// Answers operators' questions about the running process. Reads only; the plug-in's objects by
/// type and attribute names. What it refers to outlives it.
class ControlDesk final : public Inspector {
 public:
  struct Sources {
    Qiv::Dir::Ptr root;  ///< The state store.
    const RecordBook& book;
    const ClientRegistry& clients;
    const OperationQueue& queue;
    const StartGate& gate;
  };

  explicit ControlDesk(Sources sources)
      : sources_(std::move(sources)), started_(sources_.clients.now()) {}

  [[nodiscard]] std::variant<std::string, Refusal> answer(const Inspection& inspection,
                                                          Ubo::YieldPolicy& yield) override;

 private:
  [[nodiscard]] std::string show(const ShowTables& tables, Ubo::YieldPolicy& yield) const;
  [[nodiscard]] std::string show(const ShowEntity& entity, Ubo::YieldPolicy& yield) const;
  [[nodiscard]] std::string show(const ShowStats& stats, Ubo::YieldPolicy& yield) const;
  [[nodiscard]] std::string show(const ListVrfs& vrfs, Ubo::YieldPolicy& yield) const;
  [[nodiscard]] std::string show(const ListClients& clients, Ubo::YieldPolicy& yield) const;
  [[nodiscard]] std::string show(const ListInterfaces& interfaces, Ubo::YieldPolicy& yield) const;

  [[nodiscard]] Qiv::Dir::Ptr mibs() const;
  [[nodiscard]] Qiv::Entity::Ptr pluginAgent() const;
  [[nodiscard]] Json machineOf(std::string_view attribute) const;
  [[nodiscard]] Json clientOf(const Pomel::String& name) const;

  Sources sources_;
  Clock::time_point started_;
};

}  // namespace Agent
