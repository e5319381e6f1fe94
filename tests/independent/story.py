"""The fixture of the black-box tests: a folder with a home and a frame, the program run in it, and a failure
text that lists the commands, so that a failed case can be walked again by hand.

A failed case leaves its folder behind; before.img in it is the flash image before the last command.
"""
import functools
import json
import math
import os
import random
import shlex
import shutil
import subprocess
import sys
import tempfile
import unittest

import flash_model
import flash_reader
import stream_codec

PROGRAM = "lumatoctl"  # set by the driver
QUICK = False


class Outcome:
    def __init__(self, status, out, err):
        self.status, self.out, self.err = status, out, err

    @property
    def json(self):
        return json.loads(self.out)


@functools.lru_cache(64)
def noise(width, height, seed=1):
    """A bitmap that codes badly: streams of some size from small pictures."""
    stride = (3 * width + 3) // 4 * 4
    generator = random.Random(seed)
    return stream_codec.make_bitmap(width, height, [generator.randbytes(stride) for _ in range(height)])


@functools.lru_cache(64)
def wave(width, height, phase=0.0):
    """A bitmap with slopes, edges and colours, different for every phase."""
    rows = []
    for y in range(height):
        row = bytearray()
        for x in range(width):
            edge = 60 if (x // 11 + y // 7) % 2 else 0
            row += bytes(int(97 + 90 * math.sin(x / 19 + y / 27 + channel + phase)) + edge for channel in range(3))
        rows.append(row)
    return stream_codec.make_bitmap(width, height, rows)


def streams(count, size=(48, 32), make=wave):
    """Pictures for a frame with an LCD of that size."""
    return [stream_codec.encode(make(*size, n), *size, 90, 4) for n in range(1, count + 1)]


def seed(usual):
    """Where a randomised test begins: with the number in LUMATO_SEED, or its own. It is printed, to be led again."""
    chosen = int(os.environ.get("LUMATO_SEED", usual))
    print("LUMATO_SEED=%d" % chosen)
    return chosen


def take_option(name):
    """Whether `name` stands in the command line, which is without it afterwards."""
    found = name in sys.argv
    sys.argv[:] = [argument for argument in sys.argv if argument != name]
    return found


def take_files(usage, count=1):
    """Takes the program from the command line; the absolute paths of the `count` files that stand first, it included."""
    global PROGRAM, QUICK
    if len(sys.argv) < 1 + count:
        sys.exit(usage)
    files = [os.path.abspath(sys.argv.pop(1)) for _ in range(count)]
    PROGRAM, QUICK = files[0], take_option("--quick")
    return files


class Story(unittest.TestCase):
    maxDiff = 2000

    def setUp(self):
        self.folder = tempfile.mkdtemp(prefix="frame-story-")
        self.home, self.frame, self.trace_file = map(self.path, ("home", "frame.img", "trace.txt"))
        os.mkdir(self.home)
        self.commands, self.failed = [], False

    def tearDown(self):
        if not self.failed:
            shutil.rmtree(self.folder)

    def _formatMessage(self, message, standard):
        self.failed = True
        lines = ["", "To walk it again, in %s:" % self.folder] + self.commands[-4:]
        return super()._formatMessage(message, standard) + "\n  ".join(lines)

    # ------------------------------------------------------------------------------------ files

    def path(self, name):
        return os.path.join(self.folder, name)

    def write(self, name, data):
        with open(self.path(name), "wb") as file:
            file.write(data)
        return self.path(name)

    def read(self, name):
        with open(self.path(name), "rb") as file:
            return file.read()

    def put_frame(self, image):
        return self.write(self.frame, image)

    def image(self):
        return self.read(self.frame)

    def sources(self, *bitmaps):
        return [self.write("source%d.bmp" % n, bitmap) for n, bitmap in enumerate(bitmaps, 1)]

    # ------------------------------------------------------------------------------------ the program

    def environment(self):
        # Who asked for memory is told in two steps instead of thirty: a start under the sanitizers takes an eighth less,
        # they find the same, and a command that is walked again by hand tells all.
        sanitizer = "malloc_context_size=2:" + os.environ.get("ASAN_OPTIONS", "")
        return dict(os.environ, HOME=self.folder, LC_ALL="C.UTF-8", TZ="UTC", XDG_DATA_HOME=self.path("xdg"),
                    XDG_STATE_HOME=self.path("xdg-state"), ASAN_OPTIONS=sanitizer)

    def command(self, *arguments, frame=True):
        where = ["--home", self.home] + (["--frame", self.frame, "--trace", self.trace_file] if frame else [])
        return [PROGRAM, *where, "--json", *map(str, arguments)]

    def run_program(self, *arguments, frame=True, settings=None, statuses=(0, 1, 2, 3, 4), given=b""):
        """`settings`: environment variables besides the usual ones; `given`: standard input."""
        command, settings = self.command(*arguments, frame=frame), settings or {}
        self.commands.append(shlex.join(["%s=%s" % pair for pair in settings.items()] + command))
        if frame and os.path.isfile(self.frame):
            shutil.copyfile(self.frame, self.path("before.img"))
        if os.path.exists(self.trace_file):
            os.remove(self.trace_file)
        done = subprocess.run(command, env=dict(self.environment(), **settings), capture_output=True, timeout=120,
                              cwd=self.folder, input=given)
        outcome = Outcome(done.returncode, done.stdout.decode(), done.stderr.decode())
        self.assertIn(outcome.status, statuses, outcome.err)
        return outcome

    def begin(self, *arguments, settings=None, **options):
        """Starts the program and does not wait for it."""
        command = [PROGRAM, "--home", self.home, "--frame", self.frame, *map(str, arguments)]
        self.commands.append(shlex.join(command) + " &")
        return subprocess.Popen(command, env=dict(self.environment(), **settings or {}), cwd=self.folder,
                                **{"stdout": subprocess.DEVNULL, "stderr": subprocess.DEVNULL, **options})

    def run_bare(self, *arguments, prefix=(), **options):
        """Without the options that every other call gets."""
        self.commands.append(repr(arguments))
        return subprocess.run([*prefix, PROGRAM, *arguments], env=self.environment(), cwd=self.folder,
                              **{"capture_output": True, "timeout": 600, **options})

    def cut(self, *arguments, at=1, later=0, statuses=(4,)):
        """Unplugged at the `at`-th erase or `later`; `finished`: what the frame would hold without. The outcome."""
        before, home, self.home = self.image(), self.home, self.path("undisturbed")
        self.run_program(*arguments)
        self.finished, self.home = self.image(), home
        trace = self.read("trace.txt").decode().splitlines()
        erases = [n for n, line in enumerate(trace, 1) if line[:2] == "CB" and line[20:22] == "D8"]
        self.put_frame(before)
        return self.run_program("--fault", "%d:unplug" % (erases[at - 1] + later), *arguments, statuses=statuses)

    def good(self, *arguments, frame=True):
        outcome = self.run_program(*arguments, frame=frame)
        self.assertEqual(outcome.status, 0, outcome.err)
        return outcome.json

    def refused(self, status, *arguments, frame=True):
        """The program says why, answers with that exit status and leaves the image as it is."""
        before = self.image() if frame and os.path.isfile(self.frame) else None
        outcome = self.run_program(*arguments, frame=frame)
        self.assertEqual(outcome.status, status, outcome.err)
        self.assertTrue(outcome.err.strip() or outcome.out.strip(), "refused without a word")
        if before is not None:
            self.assert_same_bytes(self.image(), before)
        return outcome

    # ------------------------------------------------------------------------------------ comparing

    def assert_same_bytes(self, have, want, what="flash"):
        if have == want:
            return
        at = next((i for i, pair in enumerate(zip(have, want)) if pair[0] != pair[1]), min(len(have), len(want)))
        count = sum(a != b for a, b in zip(have, want))
        self.fail("%s: %d and %d bytes, %d differ, the first at 0x%X: has %s, expected %s" % (
            what, len(have), len(want), count, at, have[at:at + 16].hex(), want[at:at + 16].hex()))

    def assert_trace(self, want):
        have = flash_model.mask_clock(self.read("trace.txt").decode().splitlines())
        if have != want:
            at = next((i for i, pair in enumerate(zip(have, want)) if pair[0] != pair[1]), min(len(have), len(want)))
            self.fail("command %d of %d (expected %d): has\n%s\nexpected\n%s" % (
                at + 1, len(have), len(want), "\n".join(have[at:at + 4]), "\n".join(want[at:at + 4])))

    def assert_as_model(self, before, change):
        """The flash and the commands are those of the model; `change`(frame) is what was asked for."""
        for spare in (0xFF, 0x00):  # what rounds the last block up is nobody's business
            model = flash_model.Frame(before, spare).connect()
            change(model)
            if bytes(model.image) == self.image():
                break
        self.assert_same_bytes(self.image(), bytes(model.image))
        self.assert_trace(model.trace)
        return model

    # ------------------------------------------------------------------------------------ verbs

    def composed(self, source):
        """The LCD-sized bitmap that adding `source` starts from, by the program's own composition."""
        information = flash_reader.Information(self.image())
        size = information.lcd_width, information.lcd_height
        self.good("compose", source, self.path("composed.bmp"), "--lcd", "%dx%d" % size, frame=False)
        bitmap = self.read("composed.bmp")
        self.assert_same_bytes(bitmap, stream_codec.make_bitmap(*size, stream_codec.bitmap_rows(bitmap, *size)), "bitmap")
        return bitmap

    def add_as_model(self, sources):
        """Adds the sources; result, budget, streams, flash and commands are the model's. (added, refused)"""
        before, expected, composed = self.image(), [], []
        planned = flash_model.Frame(before).connect()
        for source in sources:
            bitmap = self.composed(source)
            if result := flash_model.predicted_add(planned, bitmap, 90):
                expected.append((source, len(planned.pictures) + 1, *result))
                composed.append(bitmap)
                planned.add([result[0]])
        outcome = self.run_program("add", *sources)
        self.assertEqual(outcome.status, 0 if len(expected) == len(sources) else 1, outcome.err)
        answer = outcome.json
        self.assertEqual([(a["file"], a["name"], a["bytes"], a["quality"]) for a in answer["added"]],
                         [(source, "Picture%d.bmp" % n, len(stream), quality)
                          for source, n, stream, quality in expected])
        for (_, n, _, _), bitmap in zip(expected, composed):
            self.assert_same_bytes(self.read("home/data/Picture%d.bmp" % n), bitmap, "Picture%d.bmp" % n)
        taken = [entry[0] for entry in expected]
        self.assertEqual([r["file"] for r in answer["refused"]], [s for s in sources if s not in taken])
        self.assertTrue(all(r["reason"] for r in answer["refused"]))

        def change(frame):
            frame.add([entry[2] for entry in expected])
            if expected:
                frame.download()
        model = self.assert_as_model(before, change)
        self.assert_space(answer, model)
        return len(expected), len(sources) - len(expected)

    def delete_as_model(self, *positions):
        before = self.image()
        answer = self.good("delete", *(positions or ["--all"]))

        def change(frame):
            frame.delete(positions) if positions else frame.delete_all()
            frame.download()
        self.assert_space(answer, self.assert_as_model(before, change))

    def assert_space(self, answer, model):
        self.assertEqual((answer["pictures"], answer["free_bytes"]),
                         (len(model.pictures), flash_model.free_bytes(model)))

    def connect_as_model(self):
        """Information and list are right, and reading them changes nothing."""
        before = self.image()
        answer = self.good("info")
        model = self.assert_as_model(before, lambda frame: None)
        self.assert_space(answer, model)
        for key in ("lcd_width", "lcd_height", "flash_size", "table_address", "picture_limit", "sampling", "quality",
                    "erase_instruction", "page_option"):
            self.assertEqual(answer[key], getattr(model.info, key), key)
        listed = self.good("list")["pictures"]
        slots = [flash_reader.slot(model.table, k) for k in range(1, len(model.pictures) + 1)]
        self.assertEqual([(p["position"], p["name"], p["address"], p["bytes"]) for p in listed],
                         [(n, "DPFPicture%d.bmp" % n, *slot[1:]) for n, slot in enumerate(slots, 1)])
        return model


LCD = (160, 120)


class StoredStory(Story):
    """A frame with two pictures of somebody else's and room for ten more, and three photographs."""

    def setUp(self):
        super().setUp()
        self.stored = streams(2, LCD)
        self.put_frame(flash_reader.put_pictures(flash_reader.make_image(LCD, 0x80000, limit=12), self.stored))
        self.wanted = self.sources(*(noise(*LCD, n) for n in (3, 4)), wave(*LCD, 5))

    def on_frame(self):
        return flash_reader.streams_of(self.image())
