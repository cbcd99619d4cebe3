#!/bin/sh
# clang-tidy over the product's sources, by the short list in .clang-tidy; a finding is an error.
# The compile commands are those of the clang build: g++'s hold options that clang refuses.
#
# Sources are checked several at a time, as one: see tidy_groups.py. When that fails, each is checked by
# itself, and that counts. That a group includes sources is the one thing not to be found there.
set -eu

cd "$(dirname "$0")/.."
. scripts/rooms.sh
scripts/build.sh asan
sources=$(cpp_files $product_rooms | grep '\.cpp$')
[ -n "$sources" ]
# shellcheck disable=SC2086  # several sources
if grep -n '^ *# *include.*\.cpp[">]' $sources; then
  echo 'check-tidy: a source includes another' >&2
  exit 1
fi
# shellcheck disable=SC2086
groups=$(python3 -B scripts/tidy_groups.py build/asan/compile_commands.json build/tidy $sources)
[ -n "$groups" ]
# shellcheck disable=SC2016  # for the inner shell
echo "$groups" | xargs -P "$(nproc)" -L 1 sh -c '
  group=$1
  shift
  clang-tidy --quiet --checks=-bugprone-suspicious-include -p build/tidy "$group" && exit 0
  echo "check-tidy: one by one: $*"
  clang-tidy --quiet -p build/asan "$@"' sh
