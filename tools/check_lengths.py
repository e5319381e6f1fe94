#!/usr/bin/env python3
"""Checks that no file has more than 400 lines and no function more than 60.

Usage: check_lengths.py [SOURCE_FOLDER]

A function goes from its head to its last brace; a test is one, too, and what stands in a function belongs to it. Tables
are data: they count for their file alone. C++ is read by its indentation, which clang-format keeps.
"""
import ast
import pathlib
import re
import sys

FILE_LINES = 400
FUNCTION_LINES = 60
CODE = re.compile(r".*\.(h|cpp|py|sh|cmake)|CMakeLists\.txt|check|run")

NO_CODE = re.compile(r'R"(\w*)\(.*?\)\1"|(^|(?<=\s))//[^\n]*', re.DOTALL | re.MULTILINE)
# Braces of these hold other functions, or data.
NO_FUNCTION = re.compile(
    r"\s*(template\s*<[^(]*>\s*)?(inline\s+|static\s+|typedef\s+)*(namespace|class|struct|union|enum|extern)\b[^(]*$"
    r"|.*=\s*\{+$")


def indentation(line):
    return len(line) - len(line.lstrip())


def functions_of_cpp(text):
    """(first line, last line) of what is in braces after a head with arguments: functions, and what stands in them."""
    code = NO_CODE.sub(lambda match: "\n" * match.group().count("\n"), text)
    lines = [line.rstrip() for line in code.split("\n")]
    for opened in (number for number, line in enumerate(lines) if line.endswith("{")):
        first = opened
        while first > 0 and lines[first - 1] and lines[first - 1][-1] not in ";{}:":
            first -= 1
        head = " ".join(line.strip() for line in lines[first:opened + 1])
        if "(" in head and not NO_FUNCTION.match(head):
            closing = re.compile(f" {{0,{indentation(lines[first])}}}}}")
            yield first + 1, next(number for number in range(opened + 1, len(lines)) if closing.match(lines[number])) + 1


def functions_of_python(text):
    return [(node.lineno, node.end_lineno) for node in ast.walk(ast.parse(text)) if isinstance(node, ast.FunctionDef)]


FUNCTIONS_OF = {".h": functions_of_cpp, ".cpp": functions_of_cpp, ".py": functions_of_python}


def faults_of(suffix, text):
    """(line, what is wrong there) of one file."""
    faults = []
    count = text.count("\n")
    if count > FILE_LINES:
        faults.append((count, f"more than {FILE_LINES} lines in a file"))
    for first, last in FUNCTIONS_OF.get(suffix, lambda text: [])(text):
        if last - first >= FUNCTION_LINES:
            faults.append((first, f"{last - first + 1} lines in a function, more than {FUNCTION_LINES}"))
    return faults


def check(root):
    """All faults of the code below `root`, one line each."""
    faults = []
    for path in sorted(root.rglob("*")):
        relative = path.relative_to(root)
        folder = relative.parts[0]
        if CODE.fullmatch(path.name) and path.is_file() and not folder.startswith(("build", ".")):
            faults += [f"{relative}:{line}: {fault}" for line, fault in faults_of(path.suffix, path.read_text("utf-8"))]
    return faults


def check_itself():
    """A check that can no longer fail is none: these are judged before the sources are."""
    filling = 29 * "    if (a)\n        b();\n"
    rows = [
        (".cpp", "void A() {\n" + filling + "}\n", []),
        (".cpp", "void A() {\n" + filling + "    c();\n}\n", [1]),
        (".cpp", "class A {\n  public:\n    int A(int a,\n          int b) const {\n" + filling + "    }\n};\n", [3]),
        (".cpp", "A::A()\n    : m_a(1),\n      m_b{2} {\n" + filling + "}\n", [1]),
        (".cpp", "// A.\nTEST(A, B) {\n    C(R\"(\n}\n)\", [] {\n    });\n" + filling + "}\n", [2]),
        (".cpp", "namespace {\n" + filling + "c();\n}\n", []),
        (".cpp", "const int a[] = {\n" + 70 * "    B(1),\n" + "};\n", []),
        (".cpp", 400 * "int a;\n", []),
        (".cpp", 401 * "int a;\n", [401]),
        (".sh", 401 * "true\n", [401]),
        (".py", "\ndef a():\n" + 60 * "    b()\n", [2]),
        (".py", "\ndef a():\n" + 59 * "    b()\n", []),
    ]
    for suffix, text, wrong in rows:
        found = faults_of(suffix, text)
        assert [line for line, fault in found] == wrong, (text, found)


def main():
    check_itself()
    root = pathlib.Path(sys.argv[1] if len(sys.argv) > 1 else pathlib.Path(__file__).parent.parent)
    faults = check(root)
    for fault in faults:
        print(fault)
    return 1 if faults else 0


if __name__ == "__main__":
    sys.exit(main())
