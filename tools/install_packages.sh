#!/usr/bin/env bash
# Installs the Debian packages of the named groups ("build", "run", "check", "bench"); those already there cost nothing.
set -euo pipefail
here=$(cd "$(dirname "$0")" && pwd)

packages=()
for group in "$@"; do
    while read -r package; do
        packages+=("$package")
    done < <(sed -e 's/#.*//' -e '/^[[:space:]]*$/d' "$here/packages-$group.txt" | tr -d ' \t')
done

missing=()
for package in "${packages[@]}"; do
    state=$(dpkg-query -W -f '${db:Status-Status}' "$package" 2>/dev/null || true)
    [ "$state" = installed ] || missing+=("$package")
done
[ ${#missing[@]} -gt 0 ] || exit 0

as_root=()
if [ "$(id -u)" -ne 0 ]; then
    command -v sudo >/dev/null || {
        echo "These packages are needed; install them as root: ${missing[*]}" >&2
        exit 1
    }
    as_root=(sudo)
fi
echo "Installing ${missing[*]}"
"${as_root[@]}" apt-get update -qq
"${as_root[@]}" env DEBIAN_FRONTEND=noninteractive apt-get install -y -qq --no-install-recommends "${missing[@]}" >/dev/null
