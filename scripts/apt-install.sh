#!/bin/sh
# Runs as root: installs the packages named on the command line, and starts none of their daemons.
#
# Debian starts a service as soon as its package is unpacked unless /usr/sbin/policy-rc.d says no.
# A machine without that file gets one for as long as apt runs; a machine with its own keeps it.
# Of snmpd we want the program only: if it was not installed before, it is not left enabled either.
set -eu

policy=/usr/sbin/policy-rc.d
policy_is_ours=no

restore() {
  if [ "$policy_is_ours" = yes ]; then
    rm -f "$policy"
    policy_is_ours=no
  fi
}
trap restore EXIT
trap 'exit 130' INT
trap 'exit 143' TERM HUP

snmpd_was_installed=no
if dpkg-query -W -f '${db:Status-Abbrev}' snmpd 2>/dev/null | grep -q '^ii'; then
  snmpd_was_installed=yes
fi

if [ ! -e "$policy" ]; then
  policy_is_ours=yes
  printf '#!/bin/sh\nexit 101\n' >"$policy"
  chmod 755 "$policy"
fi

DEBIAN_FRONTEND=noninteractive
export DEBIAN_FRONTEND
apt-get install -y --no-install-recommends "$@" </dev/null

if [ "$snmpd_was_installed" = no ] && [ -e /etc/init.d/snmpd ]; then
  if [ "$policy_is_ours" = no ] && [ -d /run/systemd/system ]; then
    systemctl stop snmpd.service  # the machine's own policy may have let it start
  fi
  update-rc.d snmpd disable >/dev/null
fi
