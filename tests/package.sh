#!/bin/sh
# Builds the Debian package, installs it on this machine as a router's maker would, tries what it brought, and purges it.
set -eu
cd "$(dirname "$0")/.."

scripts/setup
command -v deb-systemd-helper >/dev/null || apt-get install -y -qq --no-install-recommends init-system-helpers >/dev/null
cmake --preset release >/dev/null
cmake --build --preset release --target plug plug-sdk-check RouterSdk
(cd build/release && cpack >/dev/null)
package=$(ls -t build/release/plug_*.deb | head -n 1)
dpkg-deb --contents "$package"

dpkg --install "$package"
trap 'dpkg --purge plug' EXIT
fail() {
    echo "$package: $1" >&2
    exit 1
}
[ "$(stat -c %a /etc/plug.conf)" = 600 ] || fail "others can read the key"
for program in plug plug-supervise plug-sdk-check; do
    [ -x /usr/sbin/$program ] || fail "no $program"
done
/usr/sbin/plug-sdk-check build/release/libRouterSdk.so >/dev/null || fail "plug-sdk-check does not pass the simulated router"
# Without a key nothing is to be started, and status says that nothing is.
[ -z "$(pidof /usr/sbin/plug)" ] || fail "an agent without a key runs"
! /usr/sbin/plug-supervise status || fail "status tells of a supervisor that is not there"
trap - EXIT
dpkg --purge plug
for left in /etc/plug.conf /etc/default/plug /usr/sbin/plug /usr/sbin/plug-supervise; do
    [ ! -e $left ] || fail "$left outlives its package"
done
echo "$package installs, runs and goes"
