"""Calls that would hurt their caller: odd numbers, closed descriptors, outputs that are inputs.

    python3 hostile_calls_test.py LUMATOCTL [unittest arguments]
"""
import json
import os
import subprocess
import unittest

import story
from flash_reader import make_image, put_pictures
from story import Story, streams, wave

WRONG_NUMBERS = ("", "-", "5x", " 5", "+5", "0x5", "1e3", "5.5", "nan", "99999999999999999999")


def wrong_usage():
    """Calls that mean nothing, or not what they seem to; with what the answer must name."""
    encode, new = ("encode", "one.bmp", "new", "--size", "48x32"), ("frame", "new", "new", "--lcd", "48x32")
    compose = ("compose", "one.bmp", "new", "--lcd", "48x32")
    numbers = [  # the option, in which call, its range, numbers that lie outside of it
        ("--quality", encode, "0 to 65535", ("-5", "65536", "65586")), ("--sampling", encode, "0 to 255", ("-1", "256")),
        *((option, compose, "-1000000 to 1000000", ("1000001",)) for option in ("--rotate", "--scale", "--x", "--y")),
        ("--limit", (*new, "--flash", "512K"), "0 to 65535", ("65536",)),
        ("--page-option", (*new, "--flash", "512K"), "0 to 255", ("256",))]
    for option, call, range_, outside in numbers:
        yield from (((*call, option, text), range_) for text in (*WRONG_NUMBERS, *outside))
    for text in ("", "nan,1,1,1", "1,2,3", "1,2,3,4,5", "inf,1,1,1", "1,,2,3", "1e9,1,1,1", "0x1,2,3,4", "1;2;3;4", "[1,2,3,4]"):
        yield (*compose, "--rect", text), "X,Y,W,H"
    yield from ((("--pace", text, "info"), "0.001 to 1000000") for text in ("", "0", "-1", "nan", "inf", "0x1", " 1", "1e400"))
    yield from ((("delete", text), "POSITION") for text in ("0", "one", "[1]", "", "1.0", "65536"))
    yield from (((command, "a", "b", option, text), option) for command, option in (("encode", "--size"), ("compose", "--lcd"))
                for text in ("", "8by8", "8x", "x8", "-8x8", "8x8x8", "0x8", "8x65536", "+8x8", "8 x8"))
    yield from (((*new, "--flash", text), "--flash") for text in ("", "K", "4G", "-1", "0x", "0x4K", "1.5M"))
    yield from ((("--fault", fault, "info"), "--fault") for fault in (
        "", ":", "1", "1:", ":flip", "refuse", "1:dance", "1:Flip", "0:flip", "-1:flip", "+1:flip", "1x:flip", " 1:flip",
        "1:flip ", "99999999999999999999:flip"))
    yield from (((*arguments, "info"), arguments[0]) for arguments in (("--frame", ""), ("--home", ""), ("--trace", "")))
    yield (*compose, "--x="), "--x"
    yield ("list", "--json=0"), "json"
    yield ("delete", "--all=0"), "all"
    yield from (((call), "") for call in (
        (), ("dance",), ("info", "--dance"), ("add",), ("delete",), ("delete", "-1"), ("save",), ("save", ""),
        ("encode", "a", "b"), ("compose", "a", "b"), ("frame", "new", "x"), ("frame", "serve", "x", "--type=2", "--socket=s")))


class Calls(Story):
    def setUp(self):
        super().setUp()
        self.put_frame(put_pictures(make_image(), streams(2)))
        self.write("one.bmp", wave(48, 32, 5))

    def content(self):
        """Every file below the folder, by name."""
        found = {}
        for folder, _, names in os.walk(self.folder):
            found.update({os.path.relpath(os.path.join(folder, name), self.folder): self.read(os.path.join(folder, name))
                          for name in names if name != "before.img"})
        return found

    def run_bare(self, *arguments, **options):
        """Without the options that every other call gets."""
        self.commands.append(repr(arguments))
        return subprocess.run([story.PROGRAM, *arguments], env=self.environment(), cwd=self.folder, timeout=60,
                              **{"capture_output": True, **options})

    def test_wrong_usage(self):
        before = self.content()
        for number, (arguments, named) in enumerate(wrong_usage()):
            call = (*arguments, "--json") if number % 2 else ("--json", *arguments)
            with self.subTest(call=call):
                done = self.run_bare("--frame=frame.img", *call)
                self.assertEqual(done.returncode, 2, done.stderr)
                self.assertIn(named, json.loads(done.stdout)["error"])
                self.assertIn(named, done.stderr.decode())
                self.assertEqual(self.content(), before)

    def test_right_usage(self):
        """What looks odd and is not: numbers with zeros in front, names that the library of arguments has ideas about."""
        for quality in ("050", "50"):
            self.good("encode", "one.bmp", "stream" + quality, "--size", "48x032", "--quality", quality, frame=False)
        self.assertEqual(self.read("stream050"), self.read("stream50"))
        for name in ("[one.bmp]", "{}", "[]", "%%", "a,b"):
            self.write(name, wave(48, 32, 6))
            self.assertEqual([added["file"] for added in self.good("add", name)["added"]], [name])


if __name__ == "__main__":
    story.take_files(__doc__)
    unittest.main()
