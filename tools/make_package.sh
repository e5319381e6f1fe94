#!/usr/bin/env bash
# Builds the Debian package and says where it lies: lumato_VERSION_ARCHITECTURE.deb, for `sudo apt install ./FILE`.
set -euo pipefail
top=$(cd "$(dirname "$0")/.." && pwd)
build=$top/build-package

"$top/tools/install_packages.sh" build package
# The programs look for their module and texts where the package puts them.
cmake -S "$top" -B "$build" -G Ninja -DCMAKE_INSTALL_PREFIX=/usr -DLUMATO_TESTS=OFF >/dev/null
cmake --build "$build"
(cd "$build" && cpack >/dev/null)
ls "$build"/lumato_*.deb
