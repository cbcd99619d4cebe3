#!/bin/sh
# usage: scripts/quickstart.sh [PORT WEB_PORT NAMESPACE FOLDER]
#
# Starts the agent with the example records, the prober with examples/quickstart.yaml and what that
# probes, and waits. SIGINT or SIGTERM ends all of them, and this with status 0; one that ends by
# itself ends the others, and this with status 1. With arguments: at other ports, with another
# namespace, and with its sockets in a folder; the agent answers at PORT by UDP and by TCP.
# CONMON_BIN is where the programs are.
set -eu

cd "$(dirname "$0")/.."
bin=${CONMON_BIN:-build/release/bin}
port=${1-1161}
web_port=${2-8161}
namespace=${3-conmon-blue}
folder=${4-/tmp}
own_namespace=
started=  # NAME:PID..., the latest first

# Starts a program in the background; its pid is in $pid.
start() { # NAME COMMAND...
  name=$1
  shift
  "$@" &
  pid=$!
  started="$name:$pid $started"
}

stop_all() {
  trap '' INT TERM HUP
  for each in $started; do
    kill "${each##*:}" 2>/dev/null || true
    wait "${each##*:}" 2>/dev/null || true
  done
  if [ -n "$own_namespace" ]; then
    ip netns del "$namespace"
  fi
}
trap stop_all EXIT
trap 'exit 0' INT TERM HUP

# In the background, as a signal interrupts `wait` and nothing else.
pause() {
  sleep 0.2 &
  wait $!
}

is_up() { kill -0 "$1" 2>/dev/null; }

# A namespace with this name from elsewhere is used, and left.
make_namespace() {
  if why=$(ip netns add "$namespace" 2>&1); then
    own_namespace=yes
    ip -n "$namespace" link set lo up
  elif ! ip netns exec "$namespace" true 2>/dev/null; then
    echo "quickstart: no network namespaces here ($why), so nothing is measured in VRF blue" >&2
    return 1
  fi
}

probes=examples/quickstart.yaml
if [ $# -gt 0 ]; then
  probes=$folder/quickstart.yaml
  sed -e "s/1161/$port/g" -e "s/8161/$web_port/g" -e "s/conmon-blue/$namespace/g" -e "s|/tmp/|$folder/|g" \
    examples/quickstart.yaml >"$probes"
fi

start conmon-snmpd "$bin/conmon-snmpd" --config examples/conmon-snmpd.yaml \
  --listen "udp:127.0.0.1:$port" --listen "tcp:127.0.0.1:$port" --feed "$folder/conmon-feed.sock"
agent=$pid
start conmon-example-web "$bin/conmon-example-web" "$web_port"
if make_namespace; then
  start conmon-example-web ip netns exec "$namespace" "$bin/conmon-example-web" "$web_port"
fi
# It would find the agent by itself, and complain that it had to wait.
while is_up "$agent" && [ ! -S "$folder/conmon-feed.sock" ]; do pause; done
start conmon-probed "$bin/conmon-probed" --config "$probes"

while :; do
  for each in $started; do
    is_up "${each##*:}" && continue
    status=0
    wait "${each##*:}" || status=$?
    name=${each%%:*}
    # Status 1 of the prober: it could not begin, and has said why.
    if [ "$name" != conmon-probed ] || [ "$status" != 1 ]; then
      echo "quickstart: $name ended with status $status" >&2
      exit 1
    fi
    echo 'quickstart: nothing is measured; the example records are served all the same' >&2
    started=$(echo "$started" | sed "s/$each //")
  done
  pause
done
