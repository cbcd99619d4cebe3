#!/bin/sh
# Every C++ file is formatted as .clang-format says.
set -eu

cd "$(dirname "$0")/.."
. scripts/rooms.sh
files=$(cpp_files $product_rooms $other_rooms)
[ -n "$files" ]
echo "$files" | xargs clang-format --dry-run -Werror
