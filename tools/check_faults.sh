#!/usr/bin/env bash
# Has clang-tidy look for faults (.clang-tidy names them) in every source of the program, as a build compiles them:
#
#   tools/check_faults.sh [BUILD_FOLDER [OPTION...]]     (default: build-check/sanitized)
#
# The folder must have been configured with clang and been built, for what is generated. OPTIONs go to clang-tidy. Exit
# status 77: there is no clang-tidy.
set -euo pipefail
top=$(cd "$(dirname "$0")/.." && pwd)
build=$(realpath "${1:-$top/build-check/sanitized}")
command -v clang-tidy >/dev/null || exit 77

# Of the tests and of what Qt writes nobody waits for an answer.
mapfile -t units < <(sed -n 's/^ *"file": "\(.*\)",\?$/\1/p' "$build/compile_commands.json" |
    grep -Ev '/(tests|fuzz|bench|tools|packaging)/|/mocs_compilation|/qrc_')
[ ${#units[@]} -gt 0 ] || { echo "$build compiles nothing" && exit 1; }
clang-tidy -p "$build" --quiet "${@:2}" "${units[@]}"
