#!/bin/sh
# clang-tidy over the product's sources, by the short list in .clang-tidy; a finding is an error.
# The compile commands are those of the clang build: g++'s hold options that clang refuses.
set -eu

cd "$(dirname "$0")/.."
. scripts/rooms.sh
scripts/build.sh asan
sources=$(cpp_files $product_rooms | grep '\.cpp$')
[ -n "$sources" ]
echo "$sources" | xargs -P "$(nproc)" -n 1 clang-tidy --quiet -p build/asan
