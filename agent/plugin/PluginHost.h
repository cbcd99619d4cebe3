#pragma once

#include <cstdint>
#include <string>

#include "IntfSnmp/IfMib.h"
#include "Qiv/Dir.h"

namespace Agent {

/// The plug-in's inputs. A change of any of them replaces the plug-in's agent.
struct PluginInputs {
  Qiv::Dir::Ptr clientDir;
  Qiv::Dir::Ptr conMonMibRoot;
  IntfSnmp::IfMib::Ptr ifMib;
};

/// Empty ones, whose directories are at their places below the store's root.
[[nodiscard]] PluginInputs pluginInputsAt(const Qiv::Dir::Ptr& root);

/// The plug-in, loaded at run time and reached by type and attribute names only. It stays loaded
/// for the life of the process: net-snmp keeps its handlers for the default VRF to the end.
class PluginHost {
 public:
  /// Loads the library and makes its root in `dir`. Throws StartError.
  PluginHost(const std::string& path, Qiv::Dir::Ptr dir);
  PluginHost(const PluginHost&) = delete;
  PluginHost& operator=(const PluginHost&) = delete;
  ~PluginHost();

  /// Starts the plug-in's agent; one that runs over other inputs is torn down first.
  void start(const PluginInputs& inputs);
  /// Ends it; silent when there is none.
  void stop();

  /// Whether the three table state machines of the running agent are in step with their inputs.
  [[nodiscard]] bool ready() const;
  /// Sets how many events the running agent believes to have counted for a VRF.
  void vrfCountIs(const Pomel::String& vrf, std::uint32_t count);

 private:
  Qiv::Dir::Ptr dir_;
  Qiv::Entity::Ptr root_;
};

/// The plug-in that was built with this program: `../lib/libConnectivityMonitorSnmp.so` from where
/// the program itself is.
[[nodiscard]] std::string defaultPlugin();

}  // namespace Agent
