#!/bin/sh
# Builds the release's tests of the MIB module and runs them under valgrind: an error of memory, or
# memory that nothing leads to any more, fails. The release, as the sanitizers see the same tests in a
# build without optimisation, and memory that nobody has written is what they do not see.
#
# Of the module's tests only unit_velmor_cost is not run: it counts by an operator new of its own, and valgrind
# takes the place of every operator new.
#
# Processes that a test forks are expected to end by abort: what valgrind says of that is left out, as the
# test compares all that they say.
set -eu

cd "$(dirname "$0")/.."
scripts/setup.sh valgrind
programs='unit_velmor unit_velmor_failure unit_velmor_unload unit_snmp_support'
# shellcheck disable=SC2086  # several targets
scripts/build.sh release $programs >build/valgrind.log 2>&1 || {
  tail -n 60 build/valgrind.log >&2
  exit 1
}
for program in $programs; do
  echo "valgrind: $program"
  valgrind --quiet --error-exitcode=99 --child-silent-after-fork=yes --num-callers=30 \
    --leak-check=full --show-leak-kinds=definite --errors-for-leak-kinds=definite \
    --suppressions=tests/reliability/valgrind.supp \
    "build/release/tests/$program" --gtest_brief=1
done
