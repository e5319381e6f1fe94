#!/usr/bin/env python3
"""Holds the manual pages and the shells' completions against what --help prints.

Usage: manual_test.py LUMATOCTL MANUAL_FOLDER FRAME_PAGE
"""
import pathlib
import re
import shutil
import subprocess
import sys

ctl, folder, frame_page = sys.argv[1], pathlib.Path(sys.argv[2]), sys.argv[3]
faults = []


def say(*call, **more):
    return subprocess.run(call, capture_output=True, text=True, check=True, **more).stdout


def expect(what, found, wanted):
    if set(found) != set(wanted):
        faults.append(f"{what}: too many {sorted(set(found) - set(wanted))}, missing {sorted(set(wanted) - set(found))}")


def options(text):
    return re.findall(r"^\s+(?:-\w, ?)?(--[\w-]+)", text, re.M)


def commands(*words):
    """Name -> its options, as --help says."""
    text = say(ctl, *words, "--help")
    below = re.findall(r"^  ([a-z]+)  ", text.partition("Subcommands:")[2].partition("\n\n")[0], re.M)
    if not below:
        return {" ".join(words): options(text)}
    return {name: those for word in below for name, those in commands(*words, word).items()}


every = commands()
general = options(say(ctl, "--help").partition("Subcommands:")[0])

# The page, as it is read.
page = say("man", "-l", str(folder / "lumatoctl.1"), env={"MANWIDTH": "200", "PATH": "/usr/bin:/bin", "LC_ALL": "C.UTF-8"})
head, _, rest = page.partition("\nCOMMANDS\n")
expect("lumatoctl(1), OPTIONS", options(head.partition("\nOPTIONS\n")[2]), general)
sections = dict(zip(*[iter(re.split(r"^   (\w[\w ]*)\n", rest, flags=re.M)[1:])] * 2))
expect("lumatoctl(1), COMMANDS", sections, every)
for name, those in every.items():
    expect(f"lumatoctl(1), {name}", options(sections.get(name, "")), those)

# What the shells offer.
words = 'COMP_WORDS=(lumatoctl --frame add %s "%s"); COMP_CWORD=$((${#COMP_WORDS[@]} - 1)); _lumatoctl; echo "${COMPREPLY[@]}"'


def in_bash(command, current):
    return say("bash", "--norc", "-c", f". {folder}/lumatoctl; " + words % (command, current)).split()


expect("bash, commands", in_bash("", ""), {name.split()[0] for name in every})
for name, those in every.items():
    expect(f"bash, {name}", in_bash(name, "--"), those + general)
if shutil.which("fish"):
    for name, those in every.items():
        offered = say("fish", "-c", f"source {folder}/lumatoctl.fish; complete -C 'lumatoctl {name} --'")
        expect(f"fish, {name}", [line.split("\t")[0] for line in offered.splitlines()], those + general)
if shutil.which("zsh"):
    say("zsh", "-n", str(folder / "_lumatoctl"))
zsh = (folder / "_lumatoctl").read_text()
for name, those in every.items():
    part = zsh.partition(f"'{name}')")[2].partition(";;")[0]
    expect(f"zsh, {name}", re.findall(r"'(--[\w-]+)\[", part), set(those) - {"--help"})

pages = [str(folder / "lumatoctl.1"), frame_page]
if (folder / "lumato.1").exists():
    pages.append(str(folder / "lumato.1"))
    window = say("man", "-l", pages[-1], env={"MANWIDTH": "200", "PATH": "/usr/bin:/bin", "LC_ALL": "C.UTF-8"})
    expect("lumato(1)", options(window), options((folder / "lumato.help").read_text()))
for name in pages:
    told = subprocess.run(["mandoc", "-Tlint", name], capture_output=True, text=True)
    faults += told.stdout.splitlines()

for fault in faults:
    print(fault)
sys.exit(1 if faults else 0)
