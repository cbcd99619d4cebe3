# Sourced, from the project's root. Which folders hold C++ of ours.

product_rooms='platform ConnectivityMonitorSnmp agent monitor ctl'
other_rooms='tests bench cmake examples'

# The C++ files below those of the given folders that exist, one a line.
cpp_files() {
  for room in "$@"; do
    [ ! -d "$room" ] || find "$room" -name node_modules -prune -o -type f \( -name '*.h' -o -name '*.cpp' \) -print
  done | LC_ALL=C sort
}
