#!/bin/sh
# Runs the recipe of the OpenWrt package without OpenWrt: openwrt.sh BUILD. Of the build tree it has what the recipe uses,
# as there; what CMake would install comes from BUILD. No more than this can be tried here: nothing is compiled for OpenWrt.
set -eu
cd "$(dirname "$0")/.."
build=$1
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
fail() {
    echo "openwrt: $1" >&2
    exit 1
}

shellcheck --shell=dash packaging/openwrt/files/plug.init
mkdir -p "$work/tree/include" "$work/package"
cat >"$work/tree/rules.mk" <<'END'
INCLUDE_DIR:=$(TOPDIR)/include
INSTALL_DIR:=install -d -m0755
INSTALL_BIN:=install -m0755
INSTALL_DATA:=install -m0644
INSTALL_CONF:=install -m0600
CP:=cp -fpR
END
cat >"$work/tree/include/package.mk" <<'END'
export CONFFILES = $(Package/plug/conffiles)
export POSTRM = $(Package/plug/postrm)
define BuildPackage
$(Package/$(1))
all:
	$(call Build/Prepare)
	$(call Package/$(1)/install,$(ROOT))
	@printf '%s\n' "$$$$CONFFILES" >$(ROOT).conffiles
	@printf '%s\n' "$$$$POSTRM" >$(ROOT).postrm
	@printf '%s\n' '$(PKG_NAME)|$(PKG_VERSION)|$(PKG_LICENSE)|$(PKG_MAINTAINER)|$$(SECTION)|$$(CATEGORY)|$$(TITLE)|$$(DEPENDS)' >$(ROOT).fields
endef
END
: >"$work/tree/include/cmake.mk"
cp -r packaging/openwrt/. "$work/package"
mkdir "$work/package/src"
cp -r CMakeLists.txt packaging "$work/package/src"
DESTDIR=$work/installed cmake --install "$build" --prefix /usr >/dev/null

root=$work/root
make -s -C "$work/package" TOPDIR="$work/tree" ROOT="$root" PKG_BUILD_DIR="$work/built" PKG_INSTALL_DIR="$work/installed"
cat "$root.fields"
! grep -q '||\||$\|^|' "$root.fields" || fail "a field is empty"
version=$(sed -n 's/^  "version": "\(.*\)",$/\1/p' "$build/packaging/agent.json")
grep -q "^plug|$version|" "$root.fields" || fail "its version is not $version"
grep -v '^$' "$root.conffiles" | while read -r file; do
    [ "$(stat -c %a "$root$file")" = 600 ] || fail "$file is missing, or others can read it"
done
for program in /etc/init.d/plug /usr/sbin/plug /usr/sbin/plug-supervise /usr/sbin/plug-sdk-check; do
    [ -x "$root$program" ] || fail "no $program"
done
# No other settings than those that upgrades keep.
[ "$(cd "$root" && find etc -type f ! -path etc/init.d/plug | sort | sed 's|^|/|')" = "$(grep -v '^$' "$root.conffiles" | sort)" ] ||
    fail "the conffiles are not the settings"
IPKG_INSTROOT=$work/gone sh -eu "$root.postrm"
