#!/bin/sh
# clang-tidy over the product's sources, by the short list in .clang-tidy; a finding is an error.
# The compile commands are those of the sanitized build: g++'s hold options that clang refuses. It puts
# several sources into one, which serves here too: most of the time goes into headers, and so each is
# read and checked once for all of them. That a unit includes sources is the one thing not to be found.
set -eu

cd "$(dirname "$0")/.."
. scripts/rooms.sh
scripts/build.sh asan

# Every unit of the compiler that product sources are in.
# shellcheck disable=SC2046,SC2086  # several sources
units=$(python3 -B scripts/tidy_units.py build/asan/compile_commands.json \
  $(cpp_files $product_rooms | grep '\.cpp$'))
echo "$units" | xargs -P "$(nproc)" -n 1 \
  clang-tidy --quiet --checks=-bugprone-suspicious-include -p build/asan
