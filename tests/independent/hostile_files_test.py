"""Pictures, names and home folders that mean harm, made with the standard library alone.

    python3 hostile_files_test.py LUMATOCTL FAILING_FILES [--patient] [--sparse] [unittest arguments]

Each picture is refused or served within 5 s of computing and 300 MB, and the rest of its batch goes on.
--patient: for a program built with sanitizers, which is slower and larger: neither is held against it.
--sparse: what the program's own memory may be harmed by alone.
"""
import contextlib
import glob
import json
import os
import resource
import shutil
import subprocess
import time
import unittest

import flash_reader
import story
from flash_reader import make_image, make_table, put_picture, put_pictures, put_table
from hostile_pictures import bombs, progressive_jpeg
from story import Story, streams, wave

PATIENT = SPARSE = False
SECONDS, MEGABYTES, LCD = 5, 300, (48, 32)

NAMES = [b"line\nbreak.bmp", b"bell\a\x1b[31mred\x1b[0m.bmp", b"-dash.bmp", b"--frame", b"not utf8 \xff\xfe.bmp",
         "turned \u202egnp.bmp".encode(), b"n" * 251 + b".bmp", b"quote\"back\\slash.bmp", b"  .bmp", b"%s%n%1000d.bmp",
         "c1 \u009b31m.bmp".encode()]


def children_of(process):
    children = []
    for name in glob.glob("/proc/%d/task/*/children" % process):
        with contextlib.suppress(OSError), open(name) as file:
            children += map(int, file.read().split())
    return children


def private_memory(process):
    """Bytes that nobody else holds, and its part of what it shares."""
    with contextlib.suppress(OSError), open("/proc/%d/smaps_rollup" % process) as file:
        return sum(int(line.split()[1]) * 1024 for line in file if line.startswith("Pss:"))
    return 0


class Hostile(Story):
    def setUp(self):
        super().setUp()
        self.old = streams(2, LCD)
        self.put_frame(put_pictures(make_image(LCD, 0x80000), self.old))

    def run_raw(self, *arguments, as_json=True):
        """(status, out, err as bytes, seconds of computing, peak megabytes of one process so far)"""
        before = resource.getrusage(resource.RUSAGE_CHILDREN)
        done = self.run_bare("--home", self.home, "--frame", self.frame, *(["--json"] if as_json else []), *arguments)
        after = resource.getrusage(resource.RUSAGE_CHILDREN)
        seconds = after.ru_utime + after.ru_stime - before.ru_utime - before.ru_stime
        return done.returncode, done.stdout, done.stderr, seconds, after.ru_maxrss / 1024

    def once(self):
        if SPARSE:
            self.skipTest("another build holds it")

    def printable(self, data, what):
        text = data.decode()  # valid UTF-8
        bad = [c for c in text if c != "\n" and (ord(c) < 32 or 0x7F <= ord(c) < 0xA0 or c in "\u202e\u2028\u2029")]
        self.assertEqual(bad, [], "%s: %r" % (what, text))


class Pictures(Hostile):
    def begin_add(self, files, **shim):
        return self.begin("--json", "add", *files, stdout=subprocess.PIPE, settings={"LD_PRELOAD": SHIM, **shim})

    def test_bombs(self):
        before = self.image()
        good = self.write("good.bmp", wave(*LCD, 5))
        for name, make, served in bombs(SPARSE):  # others are decoded in readers, without sanitizers
            with self.subTest(picture=name):
                self.put_frame(before)
                bomb = self.write(name, make())
                status, out, err, seconds, megabytes = self.run_raw("add", bomb, good)
                answer = json.loads(out)
                print("%-36s %8d bytes: %s, %.2f s, %.0f MB" % (
                    name, os.path.getsize(bomb), "served" if status == 0 else answer["refused"][0]["reason"], seconds,
                    megabytes))
                self.assertIn(status, (0, 1), err)
                self.assertEqual([a["file"] for a in answer["added"]][-1:], [good], err)
                if served is not None:
                    self.assertEqual(status == 0, served, err)
                if name.endswith("profile.png") and status == 0:
                    self.assertIn("profile", answer["added"][0]["note"])
                self.assertEqual(flash_reader.streams_of(self.image())[:2], self.old)
                self.printable(err, name)
                if not PATIENT:
                    self.assertLess(seconds, SECONDS)
                    self.assertLess(megabytes, MEGABYTES)
                os.remove(bomb)

    def test_a_disk_that_vanishes(self):
        files = [self.write(name, wave(*LCD, 5)) for name in ("one.bmp", "lost.bmp", "three.bmp")]
        answer = json.loads(self.begin_add(
            files, FAILING_FILES_BELOW=files[1], FAILING_FILES_AT="1", FAILING_FILES_HOW="ENXIO").communicate()[0])
        self.assertEqual([[entry["file"] for entry in answer[fate]] for fate in ("added", "refused")],
                         [[files[0], files[2]], [files[1]]])

    def test_a_batch_takes_no_more(self):
        """Of all kinds, on as many processors as few have: the program and all of its readers together."""
        self.once()
        make = dict((name, make) for name, make, _ in bombs())
        kinds = [self.write(name, make[name]()) for name in make if name.startswith(("small.", "large interl", "one strip", "16000"))]
        kinds += [self.write("scans of grey.jpg", progressive_jpeg(8000, 8000, 3))]
        files = kinds * 2
        program = self.begin_add(files, FAKED_PROCESSORS="16")
        most, readers = [], 0
        with program:
            while program.poll() is None:
                parts = [private_memory(process) / 1e6 for process in (program.pid, *children_of(program.pid))]
                most, readers = max(most, parts, key=sum), max(readers, len(parts) - 1)
                time.sleep(0.05)
            answer = json.loads(program.stdout.read())
        print("a batch of %d on 16 processors: %.0f MB (%s) with %d readers, %d added" % (
            len(files), sum(most), " ".join("%.0f" % part for part in most), readers, len(answer["added"])))
        self.assertEqual(len(answer["added"]) + len(answer["refused"]), len(files))
        self.assertNotRegex(str(answer["refused"]), "stopped|too large")
        self.assertIn(readers, range(2, 8))  # four at a time, whatever processors there are, and those that are just ending
        if not PATIENT:
            self.assertLess(sum(most), MEGABYTES)


class Names(Hostile):
    def setUp(self):
        super().setUp()
        self.once()

    def test_names_of_pictures(self):
        for name in NAMES:
            for data in (wave(*LCD, 3), b"no picture"):
                with self.subTest(name=name, size=len(data)):
                    self.write(os.fsdecode(name), data)
                    # As the shell hands it over from the folder itself, behind "--" like any careful caller.
                    for as_json in (True, False):
                        status, out, err, _, _ = self.run_raw("add", "--", name, as_json=as_json)
                        self.assertEqual(status, 0 if data[:2] == b"BM" else 1, err)
                        self.printable(err, name)
                        if as_json:
                            self.assertTrue(json.loads(out))
                            self.assertEqual(out.count(b"\n"), 1)
                        else:
                            self.printable(out, name)

    def test_other_names(self):
        for name in NAMES:
            if name.startswith(b"-"):
                continue
            with self.subTest(name=name):
                path = os.path.join(self.folder.encode(), b"x" + name[1:])
                shown = [("frame", "new", path, "--lcd", "8x8", "--flash", "256K"), ("frame", "new", path, "--lcd", "8x8",
                         "--flash", "256K"), ("frame", "render", path, "1", path), ("decode", path, path),
                         ("compose", path, path, "--lcd", "8x8"), ("encode", path, path, "--size", "8x8"),
                         ("save", path), ("--trace", path + b"/x", "info"), ("--frame", path + b"/x", "info"),
                         ("--home", path, "info"), ("text", name, name), (name,), ("info", name), ("delete", name)]
                for arguments in shown:
                    done = self.run_bare(*(part for option, usual in (("--home", self.home), ("--frame", self.frame))
                                           if option not in arguments for part in (option, usual)), *arguments)
                    self.assertIn(done.returncode, (0, 1, 2, 3), done.stderr)
                    self.printable(done.stderr, arguments)
                    if arguments[0] != "text":
                        self.printable(done.stdout, arguments)


class Frames(Hostile):
    """What a frame claims costs it nothing, and this computer little; no picture of it is lost for that."""

    def test_claims(self):
        for lcd, count, shown in (LCD, 12, 10), ((16384, 16384), 2, 0):
            with self.subTest(lcd=lcd):
                slots, image = [(1, 0x11000, 5_000_000)] * count, make_image(lcd, 0x600000)
                put_picture(image, 0x11000, self.old[0])
                put_table(image, make_table(slots))
                self.put_frame(image)
                status, out, _, _, megabytes = self.run_raw("list")
                listed = json.loads(out)["pictures"]
                self.assertEqual((status, ["reason" in picture for picture in listed]),
                                 (0, [n >= shown for n in range(count)]))
                self.assertTrue(PATIENT or megabytes < 200, megabytes)
                outcome = self.run_program("save", self.path("saved"), statuses=(1,))
                self.assertEqual(outcome.json["saved"], shown)
                self.assertIn("DPFPicture%d.bmp: " % count, outcome.err)
                if not shown:
                    self.refused(1, "add", self.sources(wave(*LCD, 9))[0])
                    self.refused(1, "frame", "render", self.frame, 1, self.path("shown.png"), frame=False)
                self.good("delete", 1)
                self.assertEqual(flash_reader.table_of(self.image()), make_table(slots[1:]))

    def test_a_cut_costs_no_more(self):
        """Slots that share the bytes of a block which the cut download had erased: each comes back from the journal."""
        self.once()
        slots, image = [(1, 0x11000, 5_000_000)] * 40, make_image(LCD, 0x600000)
        put_picture(image, 0x11000, self.old[0])
        put_table(image, make_table(slots))
        self.put_frame(image)
        self.cut("delete", 1, later=1, statuses=(1, 4))
        self.assertFalse(flash_reader.table_is_valid(flash_reader.table_of(self.image())))
        status, out, err, _, megabytes = self.run_raw("list")
        self.assertEqual((status, len(json.loads(out)["pictures"])), (0, 39), err)
        self.assertTrue(PATIENT or megabytes < 200, megabytes)
        self.good("download")
        self.assert_same_bytes(self.image(), self.finished)


class Homes(Hostile):
    """Links and odd files in the home folder: nothing outside is written or deleted, and nothing hangs."""

    def setUp(self):
        super().setUp()
        self.once()
        self.outside = self.path("outside")
        os.mkdir(self.outside)
        for name in ("Picture1.bmp", "DPFPicture1.bmp", "victim"):
            self.write("outside/" + name, b"not yours: " + name.encode())
        self.source = self.sources(wave(*LCD, 9))[0]

    def content(self):
        return {name: self.read("outside/" + name) for name in sorted(os.listdir(self.outside))}

    def everything(self):
        """Every command that touches the home folder; all end, and none is a crash."""
        for command in (("info",), ("add", self.source), ("list",), ("save", self.path("saved")), ("delete", "1")):
            outcome = self.run_program(*command, statuses=(0, 1))
            self.assertTrue(outcome.status == 0 or outcome.err.strip(), "refused without a word")

    def test_odd_homes(self):
        names = [folder + "/" + name for folder in ("data", "Edata")
                 for name in ("DPFPicture1.bmp", "Picture1.bmp", "Picture3.bmp")]
        oddities = {
            "folder is a link": lambda at: (shutil.rmtree(os.path.dirname(at)),
                                            os.symlink(self.outside, os.path.dirname(at))),
            "link to a file": lambda at: os.symlink(self.outside + "/victim", at),
            "link to nothing": lambda at: os.symlink(self.outside + "/new", at),
            "link to a folder": lambda at: os.symlink(self.outside, at),
            "pipe": lambda at: os.mkfifo(at),
            "folder": lambda at: (os.mkdir(at), os.mkdir(at + "/inside")),
            "link to a device": lambda at: os.symlink("/dev/full", at),
            "read-only file": lambda at: (open(at, "wb").close(), os.chmod(at, 0)),
        }
        image, before = self.image(), self.content()
        os.mkdir(self.path("saved"))
        for what, make in oddities.items():
            for name in names:
                with self.subTest(oddity=what, name=name):
                    shutil.rmtree(self.home)
                    os.makedirs(self.home + "/data")
                    os.makedirs(self.home + "/Edata")
                    self.put_frame(image)
                    make(os.path.join(self.home, name))
                    self.everything()
                    self.assertEqual(self.content(), before)
                    left = flash_reader.streams_of(self.image())
                    self.assertIn(self.old[1], left, "a picture that nobody deleted is gone")

    def test_language_files(self):
        at = self.home + "/Language.ini"
        for make in (lambda: os.mkfifo(at), lambda: os.mkdir(at), lambda: os.symlink("/dev/zero", at),
                     lambda: os.symlink(at, at), lambda: self.write("home/Language.ini", b"\xFF\xFE" + bytes(1 << 20))):
            make()
            self.everything()
            os.rmdir(at) if os.path.isdir(at) else os.remove(at)

    def test_an_odd_place_for_saved_pictures(self):
        os.mkdir(self.path("saved"))
        os.mkfifo(self.path("saved/2.bmp"))
        os.mkdir(self.path("saved/1.bmp"))
        self.everything()


if __name__ == "__main__":
    SHIM = story.take_files(__doc__, 2)[1]
    PATIENT, SPARSE = story.take_option("--patient"), story.take_option("--sparse")
    resource.setrlimit(resource.RLIMIT_CORE, (0, 0))
    unittest.main()
