# Sourced. What has to be installed, by Debian package name.
#
# fmt is not in the lists: see setup-fmt.sh. Node is not either: any Node from 18 on will do,
# wherever it came from.

# To build and run the programs, with a namespace to probe in, and to walk the agent.
run_packages='
  g++ cmake ninja-build pkgconf
  libsnmp-dev libssl-dev libboost-dev libjemalloc-dev nlohmann-json3-dev libcli11-dev libyaml-cpp-dev
  libmnl-dev libsystemd-dev libevent-dev libcurl4-openssl-dev libc-ares-dev
  dpkg-dev file
  snmp iproute2'

# For the tests and checks on top of that.
test_packages='
  libgtest-dev libgmock-dev librapidcheck-dev libbenchmark-dev
  clang clang-format clang-tidy libclang-rt-dev cppcheck
  systemd fakeroot
  snmpd smitools fping python3 python3-yaml python3-jsonschema'

# For scripts/coverage.sh, on top of both.
coverage_packages='llvm'

# For scripts/valgrind.sh and the VRFs of scripts/reliability.sh, on top of the tests'.
valgrind_packages='valgrind'
