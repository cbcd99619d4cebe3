#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "Wire.h"

namespace Netlab {

/// A network namespace of a test's own, with its loopback up.
class Namespace {
 public:
  /// Throws std::runtime_error when this machine has none to give.
  explicit Namespace(std::string name);
  Namespace(const Namespace&) = delete;
  Namespace& operator=(const Namespace&) = delete;
  ~Namespace();

  [[nodiscard]] const std::string& name() const { return name_; }
  /// Runs a shell command in it; throws std::runtime_error when that fails.
  void run(const std::string& command) const;

 private:
  std::string name_;
};

/// Two namespaces and the wire between them; see README.md for the addresses.
class Lab {
 public:
  /// `name` must not be taken. Throws std::runtime_error when this machine cannot have it.
  explicit Lab(const std::string& name, std::uint32_t seed = 1);

  [[nodiscard]] const Namespace& prober() const { return near_; }
  [[nodiscard]] const Namespace& far() const { return far_; }
  [[nodiscard]] Wire& wire() { return *wire_; }

 private:
  Namespace near_, far_;
  std::unique_ptr<Wire> wire_;
};

/// A name that no other running test has.
[[nodiscard]] std::string uniqueName();

}  // namespace Netlab
