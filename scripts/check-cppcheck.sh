#!/bin/sh
# cppcheck over the product's sources; a finding is an error. Where it is mistaken, the line says so
# and why (cppcheck-suppress).
set -eu

cd "$(dirname "$0")/.."
. scripts/rooms.sh
# shellcheck disable=SC2086  # several folders
exec cppcheck --quiet --error-exitcode=1 -j "$(nproc)" \
  --inline-suppr --suppressions-list=scripts/cppcheck.supp \
  --enable=warning,performance,portability --std=c++20 --language=c++ -I . -I platform \
  $product_rooms
