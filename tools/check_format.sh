#!/usr/bin/env bash
# Holds the C++ sources to .clang-format, or those files that are given. Exit status 77: there is no clang-format.
set -euo pipefail
cd "$(dirname "$0")/.."
command -v clang-format >/dev/null || exit 77
if [ $# -eq 0 ]; then
    mapfile -t files < <(find . \( -path './build*' -o -path './.*' \) -prune -o \( -name '*.cpp' -o -name '*.h' \) -print)
    set -- "${files[@]}"
fi
printf '%s\0' "$@" | xargs -0 -n 40 -P "$(nproc)" clang-format --dry-run --Werror
