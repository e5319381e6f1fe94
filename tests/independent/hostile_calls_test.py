"""Calls that would hurt their caller: odd numbers, closed descriptors, outputs that are inputs.

    python3 hostile_calls_test.py LUMATOCTL [unittest arguments]
"""
import hashlib
import json
import os
import shutil
import unittest

import flash_reader
import story
import stream_codec
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
    yield from ((("--pace", text, "info"), "0.0001 to 1000000") for text in ("", "0", "-1", "nan", "inf", "0x1", " 1", "1e400"))
    yield from (((*command, text), "POSITION") for command in (("delete",), ("save", "new")) for text in (
        "0", "one", "[1]", "", "1.0", "65536", "3-2", "1,", ",1", "1--2", "1-", "0-2", "1-65536", "1;2"))
    yield from (((command, "a", "b", option, text), option) for command, option in (("encode", "--size"), ("compose", "--lcd"))
                for text in ("", "8by8", "8x", "x8", "-8x8", "8x8x8", "0x8", "8x65536", "+8x8", "8 x8"))
    yield from (((*new, "--flash", text), "--flash") for text in ("", "K", "4G", "-1", "0x", "0x4K", "1.5M"))
    yield from ((("--fault", fault, "info"), "--fault") for fault in (
        "", ":", "1", "1:", ":flip", "refuse", "1:dance", "1:Flip", "0:flip", "-1:flip", "+1:flip", "1x:flip", " 1:flip",
        "1:flip ", "99999999999999999999:flip"))
    yield from (((*arguments, "info"), arguments[0]) for arguments in (("--frame", ""), ("--home", ""), ("--trace", "")))
    yield (*compose, "--x="), "--x"
    yield from ((("frame", "new", "new", "--from", ""), "--from"), (("recover", "1", "--save", ""), "--save"))
    yield from ((("move", *texts), name) for texts, name in ((("0", "1"), "FROM"), (("1", "2-3"), "TO"), (("1",), "TO")))
    yield ("list", "--json=0"), "json"
    yield ("delete", "--all=0"), "all"
    for command in (("list",), ("frames",), ("dump", "new"), ("verify", "one.bmp")):
        yield from ((("--frame=/dev/null", option, *command), "virtual frame") for option in ("--fault=1:flip", "--pace=2"))
    yield from (((*new[:3], "--from", "frame.img", option, "1"), option) for option in (
        "--table", "--limit", "--sampling", "--quality", "--erase", "--page-option", "--firmware-end"))
    yield ("frame", "serve", "frame.img", "--socket", "s", "--vendor", "123456789"), "--vendor"
    yield from (((call), "") for call in (
        (), ("dance",), ("info", "--dance"), ("add",), ("delete",), ("delete", "-1"), ("save",), ("save", ""),
        ("encode", "a", "b"), ("compose", "a", "b"), ("frame", "new", "x"), ("frame", "serve", "x", "--type=2", "--socket=s"),
        ("frame", "serve", "x", "--socket", "")))


class Calls(Story):
    def setUp(self):
        super().setUp()
        self.put_frame(put_pictures(make_image(), streams(2)))
        self.write("one.bmp", wave(48, 32, 5))

    def content(self):
        """What stands below the folder, by name: digests, for a failure is to be read."""
        found = {}
        for folder, _, names in os.walk(self.folder):
            for name in (os.path.join(folder, name) for name in names if name != "before.img"):
                found[name] = os.readlink(name) if os.path.islink(name) else hashlib.sha256(self.read(name)).hexdigest()
        return found

    def test_wrong_usage(self):
        before = self.content()
        for number, (arguments, named) in enumerate(wrong_usage()):
            call = (*arguments, "--json") if number % 2 else ("--json", *arguments)
            with self.subTest(call=call):
                own = any(word.startswith("--frame=") for word in arguments)
                done = self.run_bare(*(() if own else ("--frame=frame.img",)), *call, timeout=20)
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
            self.assertEqual([added["file"] for added in self.good("add", name, "./" + name)["added"]], [name, "./" + name])
        self.assertEqual(self.good("text", "[a,b]", "[c]", frame=False)["text"], "[c]")
        self.assertEqual(self.good("delete", "1", "3")["pictures"], 10)

    def remove(self, *names):
        for name in map(self.path, names):
            shutil.rmtree(name) if os.path.isdir(name) else os.path.exists(name) and os.remove(name)

    def every_command(self):
        """All that can be called, with what each needs; their outputs are called new."""
        self.write("stream", stream_codec.encode(wave(48, 32), 48, 32, 90, 4))
        backup = self.write("backup.tar", b"")
        self.good("backup", backup, "--force")
        self.run_bare("--home=home", "--frame=frame.img", "report", "a.report")
        return [("backup", "new"), ("restore", "backup.tar"), ("restore", "backup.tar", "--dry-run"), ("info",), ("list",), ("add", "one.bmp"), ("delete", "1"), ("move", "1", "1"), ("check",), ("save", "new"), ("text", "KEY", "default"),
                ("compose", "one.bmp", "new", "--lcd", "48x32"), ("encode", "one.bmp", "new", "--size", "48x32"),
                ("decode", "stream", "new"), ("frame", "render", "frame.img", "1", "new"), ("frames",), ("download",),
                ("dump", "new"), ("verify", "frame.img"), ("recover",), ("report", "new"), ("replay", "a.report"),
                ("frame", "new", "new", "--lcd", "48x32", "--flash", "256K"), ("dance",)]

    def test_closed_descriptors(self):
        """What is said to nobody goes nowhere: not into the frame, whose file would be given the free number."""
        calls = (*self.every_command(), ("--json", "info"), ("--quiet", "list"), ("--trace", "trace", "list"))
        for number, call in enumerate(calls):
            # All of them answer where it can be heard, and are heard to fail; one alone is closed to a third each.
            for closed in ((0, 2), (0, 1, 2), (number % 3,)):
                with self.subTest(call=call, closed=closed):
                    self.remove("new", "home")
                    self.put_frame(put_pictures(make_image(), streams(2)))
                    firmware = self.image()[:0x10000]
                    shell = "exec \"$@\" " + " ".join("%d%s&-" % (number, "<>"[number > 0]) for number in closed)
                    done = self.run_bare("--home=home", "--frame=frame.img", *call, prefix=["sh", "-c", shell, "sh"])
                    self.assert_same_bytes(self.image()[:0x10000], firmware, "firmware")
                    self.assertEqual(done.returncode, 2 if call == ("dance",) else int(1 in closed), done.stderr)
                    for name in ("new", "trace"):
                        if os.path.isfile(self.path(name)):
                            self.assertNotIn(b"evice", self.read(name))

    def assert_shape(self, answer, shape, where):
        """What was answered is what docs/json.md says: these members of these types, and no others."""
        if isinstance(shape, dict):
            there = {name.rstrip("?"): inner for name, inner in shape.items() if name[-1] != "?" or name[:-1] in answer}
            self.assertEqual(list(answer), list(there), where)
            for name, inner in there.items():
                self.assert_shape(answer[name], inner, where + "." + name)
        elif isinstance(shape, list):
            for one in answer:
                self.assert_shape(one, shape[0], where)
        else:
            self.assertIn({str: "text", bool: "boolean", type(None): "null"}.get(type(answer), "number"), shape.split(" or "), where)

    def test_answers_are_as_documented(self):
        with open(os.path.join(os.path.dirname(__file__), "../../docs/json.md")) as file:
            shapes = json.loads(file.read().split("```json")[1].split("```")[0])
        unseen = set(shapes) - {"permit"}  # which changes the computer
        for call in (*self.every_command(), ("add", "missing.bmp", "one.bmp"), ("info", "--quality"), ("decode", "missing", "x"),
                     *((*command, "--dry-run") for command in (("add", "one.bmp"), ("download",), ("delete", "1"))),
                     ("add", "one.bmp", "--fault", "29:unplug"), ("frames",), ("list",), ("add", "one.bmp", "--dry-run"),
                     ("recover",), ("recover", "1", "--save", "[new]"), ("recover", "1", "--forget")):
            self.remove("new")
            with self.subTest(call=call):
                done = self.run_bare("--home=home", "--frame=frame.img", *call, "--json")
                answer = json.loads(done.stdout)
                name = "error" if list(answer) == ["error"] else " ".join(
                    call[:2] if call[0] == "frame" else (call[0], *call[2:3]) if call[0] == "recover" else call[:1])
                self.assertEqual(name == "error", done.returncode > 0 and call[0] != "add")
                self.assert_shape(answer, shapes[name], name)
                unseen -= {name}
        self.assertEqual((unseen, len(os.listdir(self.path("[new]")))), (set(), 2 * 4))

    def test_what_cannot_be_written(self):
        """What cannot be read or written, for its size, too: each is said, and what can be done is done."""
        full = ["sh", "-c", 'exec "$@" >/dev/full', "sh"]
        little = ["sh", "-c", 'ulimit -v 14000; exec "$@"', "sh"]
        self.write("long.bmp", wave(48, 32))
        os.truncate(self.path("long.bmp"), 20 << 20)
        for prefix, call, said in (((), ("encode", "long.bmp", "new", "--size", "48x32"), "larger than"),
                                   (full, ("list",), "standard output"), ((), ("--trace=/dev/full", "add", "one.bmp"), "/dev/full"),
                                   (little, ("add", "one.bmp", "big.bmp"), "")):
            with self.subTest(call=call):
                if self.run_bare("--version", prefix=little).returncode and prefix is little:
                    continue  # sanitizers take more than that
                self.write("big.bmp", wave(700, 500))
                done = self.run_bare("--home=home", "--frame=frame.img", *call, prefix=prefix)
                self.assertEqual(done.returncode, 1, done.stderr)
                self.assertIn(said, done.stderr.decode())
                self.assertNotIn(b"terminate", done.stderr)
                self.assertNotIn(b"broken", done.stderr)
        self.assertEqual(len(flash_reader.streams_of(self.image())), 3, "the traced call added its picture")

    def test_what_can_only_be_looked_at(self):
        self.good("add", "one.bmp")
        for name in ("new", "tmp"):
            os.mkdir(self.path(name))
        closed = [self.path(name) for name in ("home/data", "home/Edata", "home/state", "home", "frame.img", ".")]
        modes = [os.stat(name).st_mode for name in closed]
        before = self.content()
        # Root may do everything, unless it gives that up.
        mortal = ["setpriv", "--bounding-set=-dac_override,-dac_read_search"] if os.getuid() == 0 else []
        mortal += ["env", "TMPDIR=" + self.path("tmp")]
        try:
            for name in closed:
                os.chmod(name, 0o555 if os.path.isdir(name) else 0o444)
            for writable, refusal in ((False, 3), (True, 1)):
                os.chmod(self.frame, 0o644 if writable else 0o444)
                for call, status in ((("list",), 0), (("info",), 0), (("save", "new"), 0), (("frames",), 0),
                                     (("verify", "frame.img"), 0), (("add", "one.bmp"), refusal), (("delete", "1"), refusal)):
                    for home in ("home", "nowhere"):
                        done = self.run_bare("--home=" + home, "--frame=frame.img", "--quiet", *call, prefix=mortal)
                        self.assertEqual(done.returncode, status, (call, home, done.stderr))
                        self.assertEqual(done.stderr.decode().count("ermission denied"), int(status > 0), done.stderr)
        finally:
            for name, mode in zip(reversed(closed), reversed(modes)):
                os.chmod(name, mode)
        self.assertEqual(sorted(os.listdir(self.path("new"))), ["1.bmp", "2.bmp", "3.bmp"])
        self.assertEqual({name: self.content()[name] for name in before if not name.endswith("/log")},
                         {name: digest for name, digest in before.items() if not name.endswith("/log")})
        os.makedirs(self.path("shut/state"))
        os.chmod(self.path("shut/state"), 0o555)
        answers = [json.loads(self.run_bare("--home=shut", "--frame=frame.img", "--json", *call, prefix=mortal).stdout)
                   for call in (("info",), ("add", "one.bmp", "one.bmp"))]
        self.assertEqual(len(answers[1]["refused"]), 2)
        self.assertEqual(*([answer[name] for name in ("pictures", "free_bytes")] for answer in answers))
        self.assertEqual(os.listdir(self.path("tmp")), [])

    def test_a_download_of_another_home(self):
        self.run_program("--fault", "29:unplug", "add", "one.bmp", statuses=(1, 4))
        self.assertEqual(flash_reader.streams_of(self.image()), [], "the cut came too early or too late")
        for home, said in (("home", 0), ("other", 1)):
            for command in (("info",), ("list",), *(
                    (*command, "--dry-run") for command in (("add", "one.bmp"), ("delete", "--all"), ("download",))),
                    *((("add", "one.bmp"),) if said else ())):
                done = self.run_bare("--home=" + home, "--frame=frame.img", "--quiet", *command)
                self.assertEqual((done.returncode, done.stderr.decode().count("nother home")), (0, said), done.stderr)

    def test_what_is_said_of_the_inside(self):
        for options, inside in (((), False), (("--quiet",), False), (("--verbose",), True), (("--quiet", "--verbose"), True)):
            done = self.run_bare("--home=home", "--frame=frame.img", *options, "list")
            self.assertEqual(b"LCDWidth" in done.stderr, inside)
            self.assertEqual(b"Device Online" in done.stderr, "--quiet" not in options)

    def test_outputs_that_are_inputs(self):
        os.makedirs(self.path("home/state/recovery/frame"))
        os.mkdir(self.path("home/data"))
        self.write("home/Language.ini", b"")
        for name in ("home/state/recovery/frame/journal", "stream"):
            self.write(name, stream_codec.encode(wave(48, 32), 48, 32, 90, 4))
        os.link(self.path("home/state/recovery/frame/journal"), self.path("linked journal"))
        for name, target in (("link.img", "frame.img"), ("link.bmp", "one.bmp"), ("to new", "new"), ("below", ".")):
            os.symlink(target, self.path(name))
        os.link(self.frame, self.path("hard.img"))
        os.mkdir(self.path("saved"))
        os.link(self.frame, self.path("saved/2.bmp"))
        os.mkdir(self.path("original"))
        shutil.copyfile(self.frame, self.path("original/DPFPicture1.bmp"))
        self.write("home/data/mine.bmp", wave(48, 32, 8))
        os.symlink("../../one.bmp", self.path("home/data/link.bmp"))
        self.write("list", b"one.bmp\n")
        self.write("home/data/list", b"one.bmp\n")
        frame = ("--frame", "frame.img")
        size, lcd = ("--size", "48x32"), ("--lcd", "48x32")
        calls = [
            *((*frame, "--trace", name, "list") for name in (
                "frame.img", "./frame.img", self.frame, "link.img", "hard.img", "below/frame.img", "saved/../frame.img",
                "home/Language.ini", "home/state/recovery/new", "home/state/recovery/frame/journal", "linked journal")),
            *(("frame", "render", "frame.img", "1", name) for name in ("frame.img", "link.img", "hard.img")),
            ("compose", "one.bmp", "one.bmp", *lcd), ("compose", "link.bmp", "one.bmp", *lcd),
            ("encode", "one.bmp", "link.bmp", *size), ("decode", "stream", "./stream"),
            ("decode", "stream", "home/state/recovery/new"), ("decode", "home/state/recovery/frame/journal", "linked journal"),
            ("encode", "one.bmp", "frame.img", *size, *frame),
            (*frame, "--trace", "one.bmp", "add", "one.bmp"), (*frame, "--trace", "link.bmp", "add", "below/one.bmp"),
            ("--trace", "new", "frame", "render", "frame.img", "1", "to new"),
            ("--trace", "below/new", "decode", "stream", "new"),
            (*frame, "save", "saved"), (*frame, "save", "home/state/recovery"), (*frame, "dump", "home/state/saved"),
            *((*frame, command, "home/" + name) for name in ("data", "Edata") for command in ("save", "dump")),
            *((*frame, "--trace", name, "list") for name in ("home/data/new", "below/home/Edata/new")),
            ("decode", "stream", "home/data/other.bmp"), ("recover", "1", "--save", "home/data/new"),
            (*frame, "--trace", "list", "add", "@list"), (*frame, "add", "@home/data/list"), ("--frame", "original/DPFPicture1.bmp", "save", "original", "--original-names"),
            (*frame, "dump", "link.img"),
            *((*frame, "add", name) for name in ("home/data/mine.bmp", "below/home/data/mine.bmp", "home/data/link.bmp")),
            (*frame, "add", "one.bmp", "home/data/mine.bmp"), ("--frame", "home/data/mine.bmp", "info")]
        given = [("one.bmp", *frame, "--trace", name, "add", "-") for name in ("one.bmp", "link.bmp", "/dev/stdin")]
        given += [("list", *frame, "--trace", "list", "add", "@-"), ("home/data/mine.bmp", *frame, "add", "-"),
                  ("home/data/list", *frame, "add", "@-")]
        before = self.content()
        for name, *call in (*(("/dev/null", *call) for call in calls), *given):
            with self.subTest(call=call, given=name), open(self.path(name), "rb") as file:
                done = self.run_bare("--home=home", *call, stdin=file)
                self.assertEqual(done.returncode, 2, done.stderr)
                self.assertEqual(self.content(), before)
        for call in ((*frame, "--trace", "/dev/null", "add", "one.bmp"),
                     (*frame, "--trace", "trace", "save", "."), ("compose", "home/Language.bmp", "to new", *lcd)):
            self.write("home/Language.bmp", wave(48, 32, 8))
            done = self.run_bare("--home=home", *call)
            self.assertEqual(done.returncode, 0, done.stderr)
        self.assertTrue(os.path.islink(self.path("to new")))


if __name__ == "__main__":
    story.take_files(__doc__)
    unittest.main()
