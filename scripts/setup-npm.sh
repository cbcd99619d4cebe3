#!/bin/sh
# Installs what the integration tests take from npm into .deps/npm: a second SNMP client, which is
# not built on net-snmp's C library, and the SMIv2 base modules that come with it.
#
# Belongs to the test set-up: scripts/setup.sh calls it for `test`, after node and npm are there.
# When everything is installed already it changes nothing and uses no network.
# The versions and their checksums are pinned by tests/integration/mib/package-lock.json.
set -eu

cd "$(dirname "$0")/.."
manifest=tests/integration/mib
dir=.deps/npm

# Written last, so that an interrupted installation does not pass for a complete one.
stamp=$dir/installed-lock.json
if cmp -s "$manifest/package-lock.json" "$stamp"; then
  exit 0
fi

echo 'setup: installing the npm packages of the integration tests'
mkdir -p "$dir"
rm -f "$stamp"
cp "$manifest/package.json" "$manifest/package-lock.json" "$dir"
npm ci --prefix "$dir" --ignore-scripts --no-audit --no-fund --loglevel=error </dev/null || {
  echo "setup: npm could not install the packages of $manifest/package.json" >&2
  exit 1
}
cp "$manifest/package-lock.json" "$stamp"
