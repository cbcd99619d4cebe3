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
