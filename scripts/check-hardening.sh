#!/bin/sh
# usage: scripts/check-hardening.sh BUILD_DIR
#
# The programs and libraries of an optimised build are hardened as docs/security.md says: what can be
# read off the files themselves is, the rest is read off the commands that compiled them.
set -eu

dir=$1
status=0

refuse() { # WHAT MESSAGE
  echo "check-hardening: $1 $2" >&2
  status=1
}

elf() { # OPTION FILE
  LC_ALL=C readelf -W "$1" "$2"
}

check_file() {
  file=$1
  header=$(elf -h "$file") || {
    refuse "$file" 'cannot be read'
    return
  }
  segments=$(elf -l "$file")
  dynamic=$(elf -d "$file")
  symbols=$(elf --dyn-syms "$file")

  echo "$header" | grep -q 'Type:.*DYN' || refuse "$file" 'is not position-independent'
  case $file in
    */bin/*) echo "$dynamic" | grep -q 'FLAGS_1.*PIE' || refuse "$file" 'is not linked as PIE' ;;
  esac
  echo "$segments" | grep -q 'GNU_RELRO' || refuse "$file" 'has no RELRO'
  echo "$dynamic" | grep -Eq 'BIND_NOW|FLAGS_1.*NOW' || refuse "$file" 'binds lazily, so RELRO is partial'
  echo "$segments" | grep -q 'GNU_STACK.* RW  ' || refuse "$file" 'has an executable stack'
  if echo "$segments" | grep -q 'LOAD.* RWE '; then refuse "$file" 'has memory to write and execute'; fi
  if echo "$dynamic" | grep -q 'TEXTREL'; then refuse "$file" 'has relocations in its code'; fi
  # Not each file has a function that needs either.
  case $symbols in *' __stack_chk_fail'*) protected=yes ;; esac
  case $(echo "$symbols" | grep -v ' __stack_chk_fail') in *_chk@*) fortified=yes ;; esac
}

# Every source of the product was compiled with it.
demand_option() {
  lacking=$(echo "$commands" | grep -vc -e " $1 ") || true
  [ "$lacking" = 0 ] || refuse "$dir" ": $lacking sources are compiled without $1"
}

protected=no
fortified=no
count=0
for file in "$dir"/bin/conmon* "$dir"/lib/*.so; do
  [ -f "$file" ] || continue
  count=$((count + 1))
  check_file "$file"
done
if [ "$count" -lt 2 ]; then refuse "$dir" 'has no programs and libraries'; fi
[ "$protected" = yes ] || refuse "$dir" ': no file has a stack protector'
[ "$fortified" = yes ] || refuse "$dir" ': no file calls a fortified function'

commands=$(grep -E '"command": ' "$dir/compile_commands.json" |
  grep -E -- '-c [^ ]*/(platform|ConnectivityMonitorSnmp|agent|ctl|monitor)/[^ ]*"') || true
if [ -z "$commands" ]; then
  refuse "$dir" 'has no compile commands of the product'
else
  demand_option -fstack-protector-strong
  demand_option -fstack-clash-protection
  demand_option -D_FORTIFY_SOURCE=3
  case $(uname -m) in x86_64) demand_option -fcf-protection=full ;; esac
fi
exit "$status"
