#!/bin/sh
# usage: scripts/setup.sh run|test|coverage|valgrind
#
# Makes sure that everything is there to build and run the agent (run), to pass its tests (test), to
# see what they reach (coverage), or to run some under valgrind.
# Installs what is missing with apt. When nothing is missing it changes nothing and uses no network.
# Where it may not install, it prints the command that would and fails.
set -eu

cd "$(dirname "$0")/.."
. scripts/packages.sh

case ${1-} in
  run) wanted=$run_packages ;;
  test) wanted="$run_packages $test_packages" ;;
  coverage) wanted="$run_packages $test_packages $coverage_packages" ;;
  valgrind) wanted="$run_packages $test_packages $valgrind_packages" ;;
  *)
    echo 'usage: scripts/setup.sh run|test|coverage|valgrind' >&2
    exit 2
    ;;
esac

fail() {
  echo "setup: $*" >&2
  exit 1
}

[ -f /etc/debian_version ] || fail 'this project is set up on Debian 12 or newer; this is another system'

is_installed() {
  case $(dpkg-query -W -f '${db:Status-Abbrev}' "$1" 2>/dev/null) in
    ii*) return 0 ;;
    *) return 1 ;;
  esac
}

node_is_usable() {
  command -v npm >/dev/null 2>&1 || return 1
  version=$(node --version 2>/dev/null) || return 1
  version=${version#v}
  [ "${version%%.*}" -ge 18 ] 2>/dev/null
}

# fmt 10 or newer, from the distribution or built by setup-fmt.sh.
fmt_is_usable() {
  [ -f .deps/fmt10/lib/cmake/fmt/fmt-config.cmake ] && return 0
  is_installed libfmt-dev &&
    dpkg --compare-versions "$(dpkg-query -W -f '${Version}' libfmt-dev)" ge 10
}

distribution_has_fmt10() {
  candidate=$(LC_ALL=C apt-cache policy libfmt-dev | sed -n 's/^ *Candidate: *//p')
  case $candidate in
    '' | '(none)') return 1 ;;
    *) dpkg --compare-versions "$candidate" ge 10 ;;
  esac
}

missing_of() {
  for package in "$@"; do
    is_installed "$package" || printf ' %s' "$package"
  done
}

# Runs a command as root, or says what should have been run and stops.
as_root() {
  if [ "$(id -u)" = 0 ]; then
    "$@"
  elif command -v sudo >/dev/null 2>&1; then
    if [ -t 0 ]; then sudo "$@"; else sudo -n "$@"; fi || cannot_install
  else
    cannot_install
  fi
}

cannot_install() {
  {
    echo 'setup: packages are missing and could not be installed from here. Run as root:'
    echo
    echo "    apt-get update && apt-get install -y --no-install-recommends$missing$fmt_packages"
    echo
  } >&2
  exit 1
}

# How fmt comes here: as a package, or built, which takes the tools to unpack a source package.
choose_fmt() {
  build_fmt=no
  fmt_packages=
  if fmt_is_usable; then
    return
  elif distribution_has_fmt10; then
    fmt_packages=' libfmt-dev'
  else
    build_fmt=yes
    fmt_packages=$(missing_of dpkg-dev xz-utils)
  fi
}

missing=$(missing_of $wanted)
if [ "$1" = test ] && ! node_is_usable; then
  missing="$missing nodejs npm"
fi
choose_fmt

if [ -n "$missing$fmt_packages" ]; then
  echo "setup: missing packages:$missing$fmt_packages"
  as_root apt-get update
  choose_fmt  # apt may know more now
  as_root sh scripts/apt-install.sh $missing $fmt_packages
  still_missing=$(missing_of $missing $fmt_packages)
  [ -z "$still_missing" ] || fail "apt reported success, but these are not installed:$still_missing"
fi
if [ "$1" = test ] && ! node_is_usable; then
  fail 'node 18 or newer with npm is needed, and what is installed is older'
fi
if [ "$build_fmt" = yes ]; then
  sh scripts/setup-fmt.sh
fi
if [ "$1" = test ]; then
  sh scripts/setup-npm.sh
fi
