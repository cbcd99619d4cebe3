#include "agent/plugin/PluginHost.h"

#include <dlfcn.h>
#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <filesystem>

#include "Pomel/Fatal.h"
#include "Qiv/TypeInfo.h"
#include "agent/StartError.h"

namespace Agent {

namespace {

constexpr const char* kRootName = "connectivityMonitorSnmp";
constexpr std::string_view kRootType = "ConnectivityMonitorSnmp::Root";
constexpr std::string_view kAgent = "connectivityMonitorSnmpAgent";
constexpr std::array<std::string_view, 3> kTableSms = {"connectivityMonitorTableIcmpSm",
                                                       "connectivityMonitorTableHttpSm",
                                                       "connectivityMonitorTableTcpSm"};

/// The entity in an attribute; null when it is null or there is none to ask.
Qiv::Entity::Ptr entityIn(const Qiv::Entity::Ptr& owner, std::string_view attribute) {
  if (!owner) {
    return nullptr;
  }
  const Qiv::Value value = Qiv::attributeGet(*owner, attribute);
  const auto* entity = std::get_if<Qiv::Entity::Ptr>(&value);
  return entity == nullptr ? nullptr : *entity;
}

}  // namespace

PluginInputs pluginInputsAt(const Qiv::Dir::Ptr& root) {
  return {Qiv::dirAt(root, "connectivityMonitor/status"),
          Qiv::dirAt(root, "snmp/connectivityMonitor/conMonMib"), Qiv::make<IntfSnmp::IfMib>()};
}

PluginHost::PluginHost(const std::string& path, Qiv::Dir::Ptr dir) : dir_(std::move(dir)) {
  if (dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL | RTLD_NODELETE) == nullptr) {
    throw StartError(fmt::format("cannot load the plug-in: {}", dlerror()));
  }
  try {
    root_ = dir_->entityIs(kRootName, kRootType);
  } catch (const Qiv::InspectionError& error) {
    throw StartError(fmt::format("{} is no plug-in of this program: {}", path, error.what()));
  }
}

PluginHost::~PluginHost() {
  if (root_) {
    stop();
    dir_->entityDel(kRootName);
  }
}

void PluginHost::start(const PluginInputs& inputs) {
  const std::array<Qiv::Value, 3> arguments = {Qiv::Entity::Ptr(inputs.clientDir),
                                               Qiv::Entity::Ptr(inputs.conMonMibRoot),
                                               Qiv::Entity::Ptr(inputs.ifMib)};
  Qiv::attributeCall(*root_, kAgent, arguments);
}

void PluginHost::stop() { Qiv::attributeDel(*root_, kAgent); }

bool PluginHost::ready() const {
  const Qiv::Entity::Ptr agent = entityIn(root_, kAgent);
  return agent && std::ranges::all_of(kTableSms, [&](std::string_view attribute) {
           const Qiv::Entity::Ptr sm = entityIn(agent, attribute);
           return sm && std::get<bool>(Qiv::attributeGet(*sm, "ready"));
         });
}

void PluginHost::vrfCountIs(const Pomel::String& vrf, std::uint32_t count) {
  const Qiv::Entity::Ptr counts = entityIn(entityIn(root_, kAgent), "vrfRefCount");
  if (!counts) {
    Pomel::fatal("a VRF's count is set while no agent counts");
  }
  const std::array<Qiv::Value, 2> arguments = {vrf, std::uint64_t{count}};
  Qiv::attributeCall(*counts, "vrfRefCount", arguments);
}

std::string defaultPlugin() {
  std::error_code error;
  const auto program = std::filesystem::read_symlink("/proc/self/exe", error);
  return (program.parent_path().parent_path() / "lib" / "libConnectivityMonitorSnmp.so").string();
}

}  // namespace Agent
