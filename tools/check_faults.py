#!/usr/bin/env python3
"""Has clang-tidy look for faults (.clang-tidy names them) in every source of the program, as a build compiles them:

    tools/check_faults.py [BUILD_FOLDER [OPTION...]]     (default: build-check/sanitized)

The folder must have been configured with clang and been built, for what is generated. OPTIONs go to clang-tidy. Exit
status 77: there is no clang-tidy.
"""
import json
import os
import re
import shlex
import shutil
import subprocess
import sys

TOP = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
# Of the tests and of what Qt writes nobody waits for an answer.
ELSEWHERE = re.compile(r"^(tests|fuzz|bench|packaging)/|/mocs_compilation|/qrc_|/cmake_pch")


def merged(path):
    """The sources that a build compiles as one, or the one."""
    with open(path) as file:
        return re.findall(r'^#include "(/.*\.cpp)"', file.read(), re.MULTILINE) or [path]


def rooms(build):
    """Of each room: (name, how its sources are compiled, the sources that can be read as one)."""
    found = {}
    with open(os.path.join(build, "compile_commands.json")) as file:
        for unit in json.load(file):
            # clang-tidy is slower with what was precompiled, and does not optimize.
            words = shlex.split(re.sub(r" -O\d| -Winvalid-pch|( -Xclang \S+)+", "", unit["command"]).replace("-isystem ", "-isystem"))
            object_file = words[words.index("-o") + 1]
            if ELSEWHERE.search(object_file):
                continue
            for source in merged(unit["file"]):
                with open(source) as file:
                    alone = "HWY_TARGET_INCLUDE" in file.read()
                how, sources = found.setdefault((object_file.split("/")[0], source if alone else ""), ({}, {}))
                how.update(dict.fromkeys(words[:words.index("-o")]))
                sources[source] = True
    for (room, _), (how, sources) in found.items():
        yield room, shlex.join(how), list(sources)


def main():
    build = os.path.realpath(sys.argv[1] if len(sys.argv) > 1 else os.path.join(TOP, "build-check/sanitized"))
    if not shutil.which("clang-tidy"):
        return 77
    # Most of the time goes into the headers: a room is read as one source.
    folder = os.path.join(build, "faults")
    os.makedirs(folder, exist_ok=True)
    units = []
    for room, how, sources in rooms(build):
        path = os.path.join(folder, "%s_%d.cpp" % (room, len(units)))
        with open(path, "w") as file:
            file.writelines('#include "%s"\n' % source for source in sources)
        units.append({"directory": build, "file": path, "command": "%s -c %s" % (how, shlex.quote(path))})
    if not units:
        print(build + " compiles nothing")
        return 1
    with open(os.path.join(folder, "compile_commands.json"), "w") as file:
        json.dump(units, file)
    # Vectors of one width: those of the others are the same lines.
    return subprocess.run(["clang-tidy", "-p", folder, "--quiet", "--extra-arg=-DHWY_COMPILE_ONLY_STATIC", *sys.argv[2:],
                           *(unit["file"] for unit in units)]).returncode


if __name__ == "__main__":
    sys.exit(main())
