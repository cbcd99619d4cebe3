# The libraries the product is built on. Their headers are system headers: our warnings do not apply.

# Where set-up puts fmt 10 if the distribution's own is older.
list(PREPEND CMAKE_PREFIX_PATH "${CMAKE_CURRENT_SOURCE_DIR}/.deps/fmt10")

find_package(fmt 10 REQUIRED)
find_package(OpenSSL REQUIRED COMPONENTS Crypto)
find_package(Boost REQUIRED)
find_package(nlohmann_json REQUIRED)
find_package(CLI11 REQUIRED)
find_package(yaml-cpp REQUIRED)
find_package(Threads REQUIRED)
find_package(PkgConfig REQUIRED)

# PkgConfig::NetSnmp: the client library. PkgConfig::NetSnmpAgent: the agent library with it.
pkg_check_modules(NetSnmp REQUIRED IMPORTED_TARGET netsnmp>=5.9)
pkg_check_modules(NetSnmpAgent REQUIRED IMPORTED_TARGET netsnmp-agent>=5.9 netsnmp>=5.9)

# An older fmt in /usr/include must never be found first: its headers do not fit the library.
include(CheckCXXSourceCompiles)
set(CMAKE_REQUIRED_LIBRARIES fmt::fmt yaml-cpp CLI11::CLI11)
check_cxx_source_compiles("
#include <yaml-cpp/yaml.h>
#include <CLI/CLI.hpp>
#include <fmt/core.h>
static_assert(FMT_VERSION >= 100000);
int main() { return fmt::format(\"{}\", 1).size() == 1 ? 0 : 1; }
" CONMON_FMT_HEADERS_FIT)
unset(CMAKE_REQUIRED_LIBRARIES)
if(NOT CONMON_FMT_HEADERS_FIT)
  message(FATAL_ERROR "the compiler finds another fmt than version 10; run scripts/setup.sh")
endif()
pkg_check_modules(Jemalloc REQUIRED IMPORTED_TARGET jemalloc)
pkg_check_modules(LibMnl REQUIRED IMPORTED_TARGET libmnl)
pkg_check_modules(LibSystemd REQUIRED IMPORTED_TARGET libsystemd)
