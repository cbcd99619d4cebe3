#!/bin/sh
# Builds fmt 10 into .deps/fmt10 from the source package of the next Debian release, for a
# distribution whose own libfmt-dev is older. Needs no privileges: apt works on a private
# configuration below .deps and leaves the machine's own package lists alone.
#
# The source comes from the mirror that this machine's apt already uses, and apt checks the
# release's signature with the Debian archive keyring and the files against the signed index.
set -eu

cd "$(dirname "$0")/.."
release=trixie
keyring=/usr/share/keyrings/debian-archive-keyring.gpg
prefix=$PWD/.deps/fmt10
work=$PWD/.deps/fmt10.work

fail() {
  echo "setup: fmt 10: $*" >&2
  exit 1
}

[ -f "$keyring" ] || fail "no $keyring: the package debian-archive-keyring is needed to check the download"

# The mirrors that serve the main component of the running release, one a line. apt itself reads
# its configuration for us, so every format of it is understood.
codename=$(sed -n 's/^VERSION_CODENAME=//p' /etc/os-release)
mirrors=$(apt-get indextargets --format '$(RELEASE) $(COMPONENT) $(REPO_URI)' 'Created-By: Packages' |
  sed -n "s/^$codename main //p" | sort -u)
[ -n "$mirrors" ] || fail "apt knows no source for $codename main; /etc/apt/sources.list has to name a mirror"

rm -rf "$work" "$prefix.new"
mkdir -p "$work/lists/partial" "$work/cache/archives/partial" "$work/etc" "$work/source"

# The whole of apt's state is ours; proxies and the like in the machine's configuration still hold.
# apt would download as the user _apt, who may not be able to read the project's folder.
private_apt() {
  apt-get \
    -o Dir::State="$work" -o Dir::State::Lists="$work/lists" -o Dir::State::status=/dev/null \
    -o Dir::Cache="$work/cache" -o Dir::Cache::archives="$work/cache/archives" \
    -o Dir::Etc::sourcelist="$work/etc/sources.list" -o Dir::Etc::sourceparts=/dev/null \
    -o Dir::Etc::preferences=/dev/null -o Dir::Etc::preferencesparts=/dev/null \
    -o APT::Sandbox::User= -o Acquire::Languages=none \
    -o APT::Get::AllowUnauthenticated=false -o Acquire::AllowInsecureRepositories=false \
    "$@" </dev/null
}

found=no
for mirror in $mirrors; do
  echo "setup: fetching the source package of fmt 10 ($release)"
  echo "deb-src [signed-by=$keyring] $mirror $release main" >"$work/etc/sources.list"
  # --error-on=any: a mirror that fails, also on the signature, is not good enough.
  if private_apt update -qq --error-on=any &&
    (cd "$work/source" && private_apt source -qq --only-source --download-only fmtlib); then
    found=yes
    break
  fi
done
[ "$found" = yes ] || fail "no mirror of this machine delivered a verified source package of $release"

(cd "$work/source" && dpkg-source --no-check -x ./*.dsc fmtlib >/dev/null) ||
  fail 'the source package could not be unpacked'
major=$(sed -n 's/^#define FMT_VERSION \([0-9]*\)[0-9]\{4\}$/\1/p' "$work/source/fmtlib/include/fmt/core.h")
[ "$major" = 10 ] || fail "the source package of $release holds version '$major', not 10"

# Static and position-independent: what links it stays movable and needs no second library path.
# -fno-gnu-unique: unique symbols would keep a library that links it from being unloaded.
echo 'setup: building fmt 10'
cmake -S "$work/source/fmtlib" -B "$work/build" -G Ninja --log-level=WARNING \
  -DCMAKE_CXX_COMPILER=g++ -DCMAKE_BUILD_TYPE=Release -DCMAKE_CXX_STANDARD=20 \
  -DCMAKE_CXX_FLAGS_RELEASE='-O2 -g1' -DCMAKE_CXX_FLAGS=-fno-gnu-unique \
  -DCMAKE_POSITION_INDEPENDENT_CODE=ON -DBUILD_SHARED_LIBS=OFF \
  -DCMAKE_INSTALL_PREFIX="$prefix.new" -DCMAKE_INSTALL_LIBDIR=lib \
  -DFMT_TEST=OFF -DFMT_DOC=OFF
cmake --build "$work/build" >"$work/build.log" || {
  cat "$work/build.log" >&2
  fail 'it does not compile'
}
cmake --install "$work/build" >/dev/null
rm -rf "$prefix"
mv "$prefix.new" "$prefix"
rm -rf "$work"
echo 'setup: fmt 10 is ready in .deps/fmt10'
