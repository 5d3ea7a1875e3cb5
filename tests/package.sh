#!/bin/sh
# Builds the Debian packages, has lintian look at them, installs them on this machine as a router's maker would, tries what
# they brought, and purges them. Runs the recipe of the OpenWrt package too.
set -eu
cd "$(dirname "$0")/.."

fail() {
    echo "package: $1" >&2
    exit 1
}

scripts/setup
scripts/setup package
cmake --preset release >/dev/null
cmake --build --preset release --target plug plug-sdk-check RouterSdk plug-bench dissector
rm -f build/release/*.deb
(cd build/release && cpack >/dev/null)
for package in build/release/*.deb; do
    dpkg-deb --info "$package"
    dpkg-deb --contents "$package"
    lintian --tag-display-limit 0 --fail-on error,warning "$package"
done
tests/openwrt.sh build/release

# Not every image keeps documents and man pages of what is installed.
dpkg --path-include='/usr/share/*' --install build/release/*.deb
trap 'dpkg --purge plug-tools plug' EXIT
[ "$(stat -c %a /etc/plug.conf)" = 600 ] || fail "others can read the key"
for program in plug plug-supervise plug-sdk-check; do
    [ -x /usr/sbin/$program ] || fail "no $program"
done
/usr/sbin/plug-sdk-check /usr/libexec/plug-bench/libRouterSdk.so >/dev/null ||
    fail "plug-sdk-check does not pass the simulated router"
# Without a key nothing is to be started, and status says that nothing is.
[ -z "$(pidof /usr/sbin/plug)" ] || fail "an agent without a key runs"
! /usr/sbin/plug-supervise status || fail "status tells of a supervisor that is not there"

for page in "8 plug" "8 plug-supervise" "8 plug-sdk-check" "1 plug-bench"; do
    # shellcheck disable=SC2086 # two words
    man --where $page || fail "no man page $page"
done
packages="plug plug-tools"
for package in $packages; do
    documents=/usr/share/doc/$package
    grep -q '^License: ' "$documents/copyright" || fail "no licence of $package"
    zcat "$documents/changelog.gz" | dpkg-parsechangelog -l - -S Version | grep -qx "$(dpkg-query -W -f '${Version}' "$package")" ||
        fail "the changelog of $package is of another version"
done
tests/sbom.py /usr/share/doc/plug/plug.spdx.json / cJSON OpenSSL libstdc++
tests/sbom.py /usr/share/doc/plug-tools/plug-tools.spdx.json / cJSON OpenSSL CLI11 nlohmann-json cpp-httplib libedit

# What bash proposes: completions PROGRAM WORD... for the last word.
completions() {
    bash -c '
        . /usr/share/bash-completion/bash_completion
        _completion_loader "$1"
        COMP_WORDS=("$@") COMP_CWORD=$(($# - 1)) COMP_LINE=$* COMP_POINT=${#COMP_LINE}
        "$(complete -p "$1" | sed "s/.*-F \([^ ]*\).*/\1/")" "$1" "${!#}" "${COMP_WORDS[COMP_CWORD - 1]}"
        echo "${COMPREPLY[@]}"' completions "$@"
}
[ "$(completions plug-bench so)" = soak ] || fail "no completion of subcommands"
[ "$(completions plug-bench soak --rule)" = --rule-changes ] || fail "no completion of a subcommand's options"
[ "$(completions plug-sdk-check --se)" = "--set --seconds" ] || fail "no completion for plug-sdk-check"
[ "$(completions plug-supervise stat)" = status ] || fail "no completion for plug-supervise"

# Installed files only: from a folder without any of ours.
(cd / && plug-bench --sandbox --register-port 0 --login-port 0 run /usr/share/plug-bench/tour.bench) ||
    fail "the tour fails with the installed files"
# A library of one's own goes before the simulated router. The sandbox hides what lies in /tmp.
library=$PWD/build/release/own-library
mkdir -p "$library"
gcc -std=c11 -fPIC -shared -Wl,-soname,libRouterSdk.so -o "$library/libRouterSdk.so" /usr/share/plug-bench/sdk/router_stub.c
printf 'start-agent\nwait heartbeat 30\nrouter-version\nexpect result == 1\n' |
    LD_LIBRARY_PATH=$library plug-bench --sandbox --register-port 0 --login-port 0 run - || fail "the stub is not used"
cmp build/release/plug.lua /usr/share/plug-bench/plug.lua

trap - EXIT
dpkg --purge plug-tools plug
for left in /etc/plug.conf /etc/default/plug /usr/sbin/plug /usr/sbin/plug-supervise /usr/libexec/plug-bench /usr/share/plug-bench; do
    [ ! -e $left ] || fail "$left outlives its package"
done
echo "the packages install, run and go"
