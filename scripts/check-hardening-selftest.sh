#!/bin/sh
# Shows that check-hardening.sh passes a hardened build and refuses each way of being less.
set -eu

cd "$(dirname "$0")"
tree=$(mktemp -d)
trap 'rm -rf "$tree"' EXIT
failures=0

cat >"$tree/x.cpp" <<'END'
#include <cstring>
#ifdef WRITABLE_CODE
asm(".section .wx,\"awx\",@progbits\n.byte 0\n.text");
#endif
extern "C" void take(char*);
extern "C" __attribute__((weak)) void take(char*) {}
int work(int argc, char** argv) {
  char buffer[64];
  std::strcpy(buffer, argv[argc - 1]);
  take(buffer);
  return buffer[0];
}
int main(int argc, char** argv) { return work(argc, argv); }
END

good_compile='-O2 -U_FORTIFY_SOURCE -D_FORTIFY_SOURCE=3 -fstack-protector-strong'
good_link='-Wl,-z,relro -Wl,-z,now -Wl,-z,noexecstack'
good_options='-fstack-protector-strong -fstack-clash-protection -fcf-protection=full -D_FORTIFY_SOURCE=3'

build() { # FOLDER COMPILE LINK PIE OPTIONS
  mkdir -p "$tree/$1/bin" "$tree/$1/lib"
  # shellcheck disable=SC2086  # options
  g++ $2 $4 "$tree/x.cpp" $3 -o "$tree/$1/bin/conmon-x"
  # shellcheck disable=SC2086
  g++ $2 -fPIC -shared "$tree/x.cpp" $3 -o "$tree/$1/lib/libx.so"
  printf '[\n{ "command": "g++ %s -o x.o -c /src/agent/x.cpp",\n"file": "x" }\n]\n' "$5" \
    >"$tree/$1/compile_commands.json"
}

expect() { # pass|refuse FOLDER [MESSAGE]
  if ./check-hardening.sh "$tree/$2" >"$tree/said" 2>&1; then result=pass; else result=refuse; fi
  if [ "$result" != "$1" ] || ! grep -qF -- "${3-}" "$tree/said"; then
    if [ "$result" = pass ] && [ "$1" = pass ]; then return; fi
    echo "check-hardening: expected to $1 $2 (${3-}), did $result:" >&2
    cat "$tree/said" >&2
    failures=$((failures + 1))
  fi
}

build good "$good_compile" "$good_link" '-fPIE -pie' "$good_options"
expect pass good

build no-pie "$good_compile" "$good_link" '-fno-pie -no-pie' "$good_options"
expect refuse no-pie 'is not position-independent'
build no-relro "$good_compile" '-Wl,-z,norelro -Wl,-z,now' '-fPIE -pie' "$good_options"
expect refuse no-relro 'has no RELRO'
build lazy "$good_compile" '-Wl,-z,relro -Wl,-z,lazy' '-fPIE -pie' "$good_options"
expect refuse lazy 'binds lazily'
build execstack "$good_compile" '-Wl,-z,relro -Wl,-z,now -Wl,-z,execstack' '-fPIE -pie' "$good_options"
expect refuse execstack 'has an executable stack'
build no-protector '-O2 -fno-stack-protector' "$good_link" '-fPIE -pie' "$good_options"
expect refuse no-protector 'no file has a stack protector'
build no-fortify '-O2 -U_FORTIFY_SOURCE -fstack-protector-all' "$good_link" '-fPIE -pie' "$good_options"
expect refuse no-fortify 'no file calls a fortified function'
build writable-code "$good_compile -DWRITABLE_CODE" "$good_link" '-fPIE -pie' "$good_options"
expect refuse writable-code 'has memory to write and execute'
for option in $good_options; do
  [ "$option" != -fcf-protection=full ] || [ "$(uname -m)" = x86_64 ] || continue
  build no-option "$good_compile" "$good_link" '-fPIE -pie' "$(echo "$good_options" | sed "s/$option//")"
  expect refuse no-option "1 sources are compiled without $option"
done
mkdir "$tree/empty"
expect refuse empty 'has no programs and libraries'

[ "$failures" -eq 0 ]
