#!/usr/bin/env bash
# Installs, uses, upgrades and purges the packages in a bare system in a folder of its own (as root).
#
#   tools/test_package.sh FOLDER      where the three packages lie, such as build-package
set -euo pipefail
packages=$(cd "$1" && pwd)
lintian --allow-root --fail-on error,warning "$packages"/lumato*.deb
root=$(mktemp -d)
trap 'rm -rf "$root"' EXIT
# With the same sources as here, updates included: the packages were built with them.
sources=(/etc/apt/sources.list.d/*.sources)
[ -e "${sources[0]}" ] || sources=(/etc/apt/sources.list)
mmdebstrap --quiet --variant=apt --skip=cleanup/apt/lists bookworm "$root" "${sources[@]}"
cp /etc/resolv.conf "$root/etc/"
inside() {
    chroot "$root" env -i PATH=/usr/sbin:/usr/bin:/sbin:/bin HOME=/root LC_ALL=C.UTF-8 DEBIAN_FRONTEND=noninteractive "$@"
}
everything() { # but what apt and dpkg keep for themselves
    inside find / -xdev -not -path '/proc/*' -not -path '/var/*' -not -path '/tmp/*' -not -path '/root/*' | sort
}

mkdir "$root/tmp/new" "$root/tmp/newer"
cp "$packages"/lumato*.deb "$root/tmp/new/"
# The next version: the same files.
for package in "$packages"/lumato*.deb; do
    unpacked=$(mktemp -d)
    dpkg-deb -R "$package" "$unpacked"
    sed -i -E 's/^Version: .*/&+1/; s/\(= ([^)]*)\)/(= \1+1)/g' "$unpacked/DEBIAN/control"
    dpkg-deb --root-owner-group -b "$unpacked" "$root/tmp/newer/" >/dev/null
    rm -rf "$unpacked"
done

echo "The command line brings no Qt"
inside sh -c 'apt-get install -y -qq --no-install-recommends /tmp/new/lumatoctl_*.deb /tmp/new/lumato-common_*.deb' >/dev/null
if inside dpkg-query -W -f '${Package}\n' | grep -i '^libqt'; then
    exit 1
fi

use() {
    inside sh -euc '
        cd /root && rm -rf my.frame .local
        lumatoctl frame new my.frame --lcd 320x240 --flash 4M
        lumatoctl --frame my.frame add /usr/share/icons/hicolor/256x256/apps/org.lumato.Lumato.png
        lumatoctl --frame my.frame list | grep -q org.lumato.Lumato
        lumatoctl frame render my.frame 1 shown.png
        lumatoctl --home /usr/share/lumato text Save_All wrong | grep -qv wrong' >/dev/null
}
use
echo "The window"
inside sh -c 'apt-get install -y -qq --no-install-recommends /tmp/new/*.deb' >/dev/null
inside lumato --help >/dev/null
inside sh -c 'QT_QPA_PLATFORM=offscreen XDG_RUNTIME_DIR=/tmp timeout 5 lumato --home /tmp/home; [ $? -eq 124 ]'
[ -s "$root/tmp/home/Language.ini" ]
echo "The next version"
inside sh -c 'apt-get install -y -qq --no-install-recommends /tmp/newer/*.deb' >/dev/null
inside dpkg-query -W -f '${Version}\n' lumato | grep -q '+1$'
use
echo "And away"
inside apt-get purge -y -qq lumato lumatoctl lumato-common >/dev/null
left=$(everything | grep -i lumato || true)
[ -z "$left" ] || {
    printf 'left behind:\n%s\n' "$left"
    exit 1
}
echo "Installed, used, upgraded and purged."
