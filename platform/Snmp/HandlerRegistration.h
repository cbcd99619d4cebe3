#pragma once

#include <string_view>

#include "Pomel/String.h"

namespace Snmp {

/// How the support library starts a MIB module by itself: a module derives from this, and an
/// AutoRegistree hands the one instance over when the module is loaded.
class HandlerRegistration {
 public:
  virtual ~HandlerRegistration() = default;
  /// Starts the module in `context`.
  virtual void initHandler(Pomel::String context) = 0;

  HandlerRegistration(const HandlerRegistration&) = delete;
  HandlerRegistration& operator=(const HandlerRegistration&) = delete;

  /// The name that the module gives to registerMibContext.
  [[nodiscard]] std::string_view module() const noexcept { return module_; }

 protected:
  /// `module` outlives the object.
  explicit HandlerRegistration(std::string_view module) : module_(module) {}

 private:
  std::string_view module_;
};

/// A module's presence in the process, as a static object of it: known from construction to
/// destruction. Two registrations of one module are a caller's bug: fatal.
class AutoRegistree {
 public:
  /// `registration` outlives this object.
  explicit AutoRegistree(HandlerRegistration* registration);
  AutoRegistree(const AutoRegistree&) = delete;
  AutoRegistree& operator=(const AutoRegistree&) = delete;
  ~AutoRegistree();

 private:
  HandlerRegistration* registration_;
};

/// The registration object of a module, or null when it is not loaded.
[[nodiscard]] HandlerRegistration* handlerRegistration(std::string_view module);

}  // namespace Snmp
