#!/bin/sh
# usage: scripts/mutations.sh [--only REGEX]
#
# Plants the faults of tests/mutations, one at a time, in a copy of the project below build/, and fails
# unless each is caught by the test that its list names. See tests/mutations/README.md.
set -eu

cd "$(dirname "$0")/.."
scripts/setup.sh test
exec python3 -B tests/mutations/mutations.py "$@"
