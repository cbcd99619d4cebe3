#include <fmt/format.h>

#include "Step.h"

namespace Model {

namespace {

/// The vocabulary needs no escapes.
std::string text(const char* name, const std::string& value) {
  return fmt::format(R"(,"{}":"{}")", name, value);
}

std::string keyOf(const RecordId& id) {
  std::string fields = text("host", id.host);
  if (id.vrf != "default") {
    fields += text("vrf", id.vrf);
  }
  if (!id.interface.empty()) {
    fields += text("interface", id.interface);
  }
  switch (id.kind) {
    case Kind::kIcmp:
      return fields + text("probe", "icmp") + text("address", id.target);
    case Kind::kHttp:
      return fields + text("probe", "http") + text("url", id.target);
    case Kind::kTcp:
      break;
  }
  return fields + text("probe", "tcp") + text("address", id.target) +
         fmt::format(R"(,"port":{})", id.port);
}

std::string fieldsOf(const SetInterface& set) {
  return text("op", "interface") + text("name", set.name) +
         fmt::format(R"(,"ifIndex":{})", set.ifIndex);
}
std::string fieldsOf(const Put& put) {
  const Measured& measured = put.measured;
  std::string fields = text("op", "put") + keyOf(put.id);
  fields += fmt::format(R"(,"{}":{})", put.id.kind == Kind::kHttp ? "responseTime" : "latency",
                        measured.time);
  if (put.id.kind == Kind::kIcmp) {
    fields += fmt::format(R"(,"jitter":{},"packetLoss":{})", measured.jitter, measured.loss);
  }
  return measured.comment.empty() ? fields : fields + text("result", measured.comment);
}
std::string fieldsOf(const Remove& remove) { return text("op", "remove") + keyOf(remove.id); }
std::string fieldsOf(const RemoveHost& remove) {
  return text("op", "removeHost") + text("host", remove.host) + text("vrf", remove.vrf);
}
std::string fieldsOf(const RemoveClient& /*remove*/) { return text("op", "removeClient"); }

std::string object(std::string fields) {
  fields.front() = '{';
  return fields + '}';
}

std::string of(unsigned connection) { return fmt::format("connection {}", connection); }

std::string shown(const Connect& connect) {
  return fmt::format("{} opens, {}", of(connect.connection),
                     connect.hello ? lineOf(connect) : "without a hello");
}
std::string shown(const Disconnect& disconnect) { return of(disconnect.connection) + " closes"; }
std::string shown(const Send& send) {
  return fmt::format("{}: {}", of(send.connection), lineOf(send.change));
}
std::string shown(const SendSync& sync) { return of(sync.connection) + R"(: {"op":"sync"})"; }
std::string shown(const SendNonsense& send) { return of(send.connection) + ": nonsense"; }
std::string shown(const Kernel& kernel) {
  return fmt::format("kernel: {} has index {}", kernel.set.name, kernel.set.ifIndex);
}
std::string shown(const ReplaceAgent& /*step*/) { return "the plug-in's agent is replaced"; }
std::string shown(const Tick& tick) { return fmt::format("{} ms pass", tick.milliseconds); }
std::string shown(const Turn& turn) {
  switch (turn.part) {
    case Part::kApplier:
      return "turn of the applier";
    case Part::kGate:
      return "turn of the start gate";
    case Part::kScheduler:
      return "turn of the scheduler";
    case Part::kConnection:
      break;
  }
  return "turn of " + of(turn.connection);
}
std::string shown(const Look& /*step*/) { return "look"; }
std::string shown(const Settle& /*step*/) { return "settle"; }

}  // namespace

std::string lineOf(const Change& change) {
  return object(std::visit([](const auto& what) { return fieldsOf(what); }, change.what));
}

std::string lineOf(const Connect& connect) {
  const std::string hold =
      connect.holdSeconds ? fmt::format(R"(,"holdSeconds":{})", *connect.holdSeconds) : "";
  return object(text("op", "hello") + text("client", connect.client) + hold);
}

std::string describe(const Step& step) {
  return std::visit([](const auto& each) { return shown(each); }, step);
}

std::string describe(const History& history) {
  static constexpr const char* kYields[] = {"never", "always", "at random"};
  std::string all = fmt::format(
      "seed {}, {}, yields {}, queue of {}, counts up to {}, priorities {} {} {}\n", history.seed,
      history.isHost ? "a host" : "feed clients", kYields[static_cast<int>(history.yield)],
      history.queueCapacity, history.countCeiling, history.priorities[0], history.priorities[1],
      history.priorities[2]);
  for (std::size_t i = 0; i < history.steps.size(); ++i) {
    all += fmt::format("{:4}  {}\n", i + 1, describe(history.steps[i]));
  }
  return all;
}

}  // namespace Model
