#!/usr/bin/env bash
# Builds the Debian packages and says where they lie: for `sudo apt install ./FILE...`. The bytes depend on the source
# alone: the day is the changelog's, and the folder is not in them.
set -euo pipefail
top=$(cd "$(dirname "$0")/.." && pwd)
build=$top/build-package

"$top/tools/install_packages.sh" build package
# dpkg-buildpackage leaves its packages beside the source, so that gets a folder of its own.
rm -rf "$build"
mkdir -p "$build/source"
tar -C "$top" --exclude='./build*' --exclude=./.git -c . | tar -x -C "$build/source"
(cd "$build/source" && DEB_BUILD_OPTIONS=noautodbgsym dpkg-buildpackage -us -uc -b >"$build/log" 2>&1) || {
    tail -n 40 "$build/log" >&2
    exit 1
}
ls "$build"/*.deb
