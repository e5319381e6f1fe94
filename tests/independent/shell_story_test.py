"""What a person at a shell, or a script, asks of lumatoctl besides the plain operations.

    python3 shell_story_test.py LUMATOCTL [unittest arguments]
"""
import calendar
import json
import os
import pty
import shutil
import signal
import subprocess
import time
import unittest

import flash_model
import flash_reader
import story
import stream_codec
from flash_reader import make_image, put_pictures
from story import LCD, StoredStory, noise, streams, wave


class Shell(StoredStory):
    def kept(self):
        """What this computer keeps for the frame."""
        return {os.path.join(at, name): self.read(os.path.join(at, name))
                for at, _, names in os.walk(self.home + "/state")
                for name in names if name not in ("album", "log", "trace") and os.path.basename(at) != "known"}

    # ------------------------------------------------------------------------------------ reports

    def report(self):
        """What a call leaves, without any name; and its replay."""
        outcome = self.run_bare("report", "--json", "--home", self.home, "--frame", self.frame)
        text = json.loads(outcome.stdout)["report"]
        for private in (self.folder, os.path.basename(self.folder), "anna", "holiday", "frame.img", "/tmp"):
            self.assertNotIn(private, text)
        self.write("a.report", text.encode())
        return text, json.loads(self.run_bare("replay", "--json", self.path("a.report")).stdout)

    def test_reports_and_their_replay(self):
        """What went wrong between program and frame shows where it did, and nothing else does; a log is no ballast."""
        image, named = self.image(), self.write("anna on holiday.bmp", wave(*LCD, 7))
        self.good("add", named, *self.wanted[:2])
        text, plain = self.report()
        self.assertRegex(text, r"\nkernel: Linux .*\n(.*\n)*== frame\n\{\"lcd_width\":160,.*\"pictures\":5,")
        self.assertRegex(text, r"== log\n.*lumatoctl\[\d+\] lumatoctl [\d.]+ begins\n.* add, 3 files\n(.*\n)*.* status 0\n")
        self.assertEqual((plain["differs_at"], plain["differences"]), (None, []))
        self.assertGreater(plain["compared"], 10)
        sent = self.read("trace.txt").decode().splitlines()
        listed = self.write("list", b"anna at home.jpg\nx/anna.jpg\n")
        for name in ("anna is no picture.jpg", os.fsdecode(b"anna \xeb.jpg"), "@" + listed):
            self.refused(1, "add", name)
        self.assertIn("file 1: ", self.report()[0])
        self.assertNotIn("anna", self.run_bare("report", "--home", self.home, "--frame", "anna.img", text=True).stdout)
        # Names like what a log says, more of them than are known by name, and what a folder has.
        hostile = [b"file of anna: holiday", b"anna: holiday; anna", b"anna\nholiday: anna", b"/dev/anna: holiday", b"/dev/holiday.jpg",
                   b"x/'anna' \xffholiday", b"19991231"]
        self.write("some list", b"\0".join(hostile + [b"anna %d: holiday" % n for n in range(4100)]))
        self.refused(1, "add", "@some list")
        os.makedirs(self.path("out"))
        os.link(self.frame, self.path("out/1999 anna: holiday.bmp"))
        self.refused(2, "save", self.path("out"))
        log = self.report()[0].partition("== log\n")[2]
        self.assertNotIn("1999", log)
        self.assertLess(len(log.splitlines()), 100)
        for first, kind in enumerate(("refuse", "lost", "half", "flip", "lie"), 1):
            # What was blank already is not less so when its erase did nothing.
            changing = ("CB02",) if kind in ("flip", "lie") else ("CB02", "CBD8")
            places = [n for n, line in enumerate(sent, 1) if line[:2] + line[20:22] in changing or line[10:14] == "0505"]
            for at in places[first % 4::4]:
                with self.subTest(kind=kind, at=at):
                    self.put_frame(image)
                    if self.run_program("--fault", "%d:%s" % (at, kind), "add", named, *self.wanted[:2]).status == 2:
                        continue
                    # What was written wrong shows when it is read.
                    wrote = kind in ("flip", "lie") and sent[at - 1].startswith("CB")
                    self.assertEqual(self.report()[1]["differs_at"], at + wrote)
        for damage in (b"", b"no report", text.encode()[:60], text.replace(" in 512 512 ", " in 512 999 ").encode()):
            self.write("a.report", damage)
            self.assertEqual(self.run_bare("replay", self.path("a.report")).returncode, 1)

    def test_a_state_folder_that_takes_no_log(self):
        os.makedirs(self.home + "/state/log")
        os.symlink("/dev/full", self.home + "/state/trace.new")
        self.good("add", *self.wanted[:1])
        self.assertEqual(os.listdir(self.home + "/state/log"), [])

    def test_the_users_folders(self):
        """Those that the environment names; what is relative or empty counts for nothing."""
        data, state, home = map(self.path, ("the data", "the state", "user"))
        own = home + "/.local/share", home + "/.local/state"
        for settings, folders in (({"XDG_DATA_HOME": data, "XDG_STATE_HOME": state}, (data, state)),
                                  ({"XDG_DATA_HOME": "relative", "XDG_STATE_HOME": ""}, own), ({}, own)):
            with self.subTest(settings=settings):
                environment = ["-u", "XDG_DATA_HOME", "-u", "XDG_STATE_HOME", "HOME=" + home, *map("=".join, settings.items())]
                self.run_bare("--frame", self.frame, "list", prefix=["env", *environment], check=True)
                for folder, name in zip(folders, ("data", "log")):
                    self.assertTrue(os.path.exists(os.path.join(folder, "lumato", name)), folder)
                    shutil.rmtree(folder)

    def test_the_frames_clock(self):
        """Is told the time on the wall, whether it is summer time, and the whole hours from Greenwich."""
        for zone, east, summer in (("UTC0", 0, 0), ("CET-1", 3600, 0), ("IST-5:30", 19800, 0), ("NST3:30", -12600, 0),
                                   ("WWW0:30", -1800, 0), ("LINT-14", 50400, 0), ("AAA-1BBB,J1/0,J365/25", 7200, 1)):
            with self.subTest(zone=zone):
                before = int(time.time())
                self.run_program("list", settings={"TZ": zone})
                block = bytes.fromhex(next(line[:32] for line in self.read("trace.txt").decode().split("\n") if line[:2] == "CA"))
                told = calendar.timegm((100 * block[6] + block[5], *block[7:12])) - east
                self.assertTrue(before <= told <= time.time(), block.hex())
                self.assertEqual(block[12:], bytes([0, 0, summer, int(east / 3600) + 12]))

    # ------------------------------------------------------------------------------------ what waits

    def test_a_download_that_broke_off(self):
        """Nothing of it is called refused; again, or `download`, puts each picture on the frame once."""
        bad, image = self.path("missing.jpg"), self.image()
        for at, files, again in ((1, self.wanted, "add"), (2, self.wanted, "download"), (3, self.wanted * 2, "add"),
                                 (2, [bad, *self.wanted], "add"), (2, self.wanted[:1], "other")):
            with self.subTest(at=at, files=len(files), again=again):
                self.put_frame(image)
                good = [file for file in files if file != bad]
                answer = self.cut("add", *files, at=at, statuses=(1 if bad in files else 4,)).json
                self.assertEqual([w["file"] for w in answer["waiting"]], good)
                self.assertEqual([r["file"] for r in answer["refused"]], [bad] * (bad in files))
                self.assertEqual(answer["added"], [])
                self.assertIn("`lumatoctl download` writes", self.run_program("list").err)
                before, kept = self.image(), self.kept()
                self.assertGreaterEqual(self.good("download", "--dry-run")["written"], len(good))
                self.assertEqual((self.image(), self.kept()), (before, kept))
                if again == "download":
                    self.assertGreaterEqual(self.good("download")["written"], len(good))
                else:
                    added = self.good("add", *(good if again == "add" else self.wanted[1:]))["added"]
                    self.assertEqual([a.get("waited", False) for a in added], [again == "add"] * len(added))
                self.assertEqual(self.good("download")["written"], 0)
                self.assertEqual(self.kept(), {})
                have = self.on_frame()
                self.assertEqual(have[:2], self.stored)
                self.assertEqual(len(set(have)), 2 + (3 if again == "other" else len(set(good))))
                self.assertEqual(len(have), 2 + (len(good) if again != "other" else 3))
                self.good("add", self.wanted[0])  # what is stored may come once more
                self.assertEqual(len(self.on_frame()), len(have) + 1)

    def test_stopping(self):
        """Ctrl-C once: the frame shows what is whole, the rest waits. Twice: at once, and that costs nothing either."""
        files = self.sources(*(noise(*LCD, n) for n in range(10, 16)))
        image = self.image()
        self.good("add", *files)
        whole = self.image()
        for times, command in ((1, ["add", *files]), (1, ["move", "1", "1"]), (2, ["add", *files]), (0, ["add", *files])):
            with self.subTest(times=times, command=command[0]):
                self.put_frame(image)
                if command[0] == "move":  # what waits goes with it
                    self.cut("add", *files)
                program = self.begin("--json", "--quiet", "--pace", "5", *command, stdout=subprocess.PIPE,
                                     preexec_fn=None if times else lambda: signal.signal(signal.SIGINT, signal.SIG_IGN))
                while flash_reader.table_is_valid(flash_reader.table_of(self.image())):
                    time.sleep(0.01)
                for _ in range(times or 1):  # 0: by its starter's wish it hears none
                    program.send_signal(signal.SIGINT)
                    time.sleep(0.01)
                answer = program.communicate()[0]
                self.assertEqual(program.returncode, (0, 4, -signal.SIGINT)[times])
                shown = self.on_frame()
                if times == 1:
                    answer = json.loads(answer)
                    self.assertTrue(answer["stopped"])
                if times == 1 and command[0] == "add":
                    self.assertEqual(len(shown), 2 + len(answer["added"]))
                    self.assertEqual(len(answer["waiting"]), len(files) - len(answer["added"]))
                    self.assertGreater(len(answer["waiting"]), 0)
                self.assertEqual(shown[:2], self.stored if times < 2 else [])
                self.good("download")
                self.assert_same_bytes(self.image(), whole)
                self.assertEqual(self.kept(), {})

    def test_what_a_terminal_tells(self):
        """By the first erase, how long the frame has not answered; then that it stops, and that it has ended. Nobody who
        is no terminal waits in silence either."""
        script = subprocess.Popen([story.PROGRAM, "--home", self.path("script"), "--frame", self.write("script.img", self.image()),
                                   "--pace", "0.04", "--json", "--progress", "add", *self.wanted], env=self.environment(),
                                  stdout=subprocess.PIPE, stderr=subprocess.PIPE)
        for pace, command, told in (("0.04", ["add", *self.wanted], ["has not answered for 1"]), ("9", ["download"], ["unplug"]),
                                    ("1", ["add", *self.wanted * 2], ["writing picture", "stopping"])):
            with self.subTest(pace=pace):
                ours, theirs = pty.openpty()
                program = self.begin("--pace", pace, *command, stdin=theirs, stderr=theirs)
                os.close(theirs)
                seen = b""
                for text in told:
                    while text.encode() not in seen:
                        seen += os.read(ours, 4096)
                    program.send_signal(signal.SIGKILL if pace == "0.04" else signal.SIGINT)
                program.wait()
                os.close(ours)
        script.send_signal(signal.SIGKILL)
        answer, notes = script.communicate()
        self.assertEqual((answer.count(b'"silent_seconds"'), notes.count(b"has not answered")), (1, 1))

    def test_progress(self):
        """Values, a line each, before the answer: what is confirmed never becomes less, and in the end it is all."""
        done = self.run_bare("--home", self.home, "--frame", self.frame, "--json", "--progress", "add", *self.wanted)
        *lines, answer = map(json.loads, done.stdout.splitlines())
        bytes_of = {}
        for line in lines:
            bytes_of.setdefault(line["progress"]["phase"], []).append(line["progress"]["bytes"])
        self.assertEqual(list(bytes_of), ["reading", "adding", "writing"])
        self.assertEqual([sorted(b) for b in bytes_of.values()], list(bytes_of.values()))
        self.assertEqual(bytes_of["writing"][-1], lines[-1]["progress"]["total_bytes"])
        self.assertEqual(self.run_bare("--progress", "list").returncode, 2)

    def test_what_cannot_be_kept_is_refused(self):
        os.makedirs(self.home + "/state")
        self.write("home/state/recovery", b"a file in the folder's place")
        answer = self.run_program("--fault", "30:unplug", "add", self.wanted[0])
        self.assertEqual((answer.status, answer.json["waiting"]), (1, []))
        self.assertEqual([r["file"] for r in answer.json["refused"]], self.wanted[:1])

    def test_dry_runs(self):
        """They say what the frame is then really sent, and touch nothing."""
        image = self.image()
        for call in (("add", *self.wanted), ("add", self.wanted[0]), ("delete", "1"), ("delete", "--all"), ("download",)):
            with self.subTest(call=call):
                self.put_frame(image)
                said, kept = self.good(*call, "--dry-run"), self.kept()
                self.assertEqual((self.image(), kept), (image, {}))
                answer = self.good(*call)
                sent = self.read("trace.txt").decode().splitlines()[len(flash_model.Frame(image).connect().trace):]
                programs = [int(line.split()[2]) for line in sent if line[:2] == "CB" and " out " in line]
                seconds = sum(0.5 * (line[20:22] == "D8") + int(line.split()[2]) / 800000 for line in sent)
                self.assertEqual((said.pop("blocks"), said.pop("bytes")), (len(programs), sum(programs)))
                self.assertAlmostEqual(said.pop("seconds"), seconds + sum(programs) / 256 * 0.0007, delta=seconds / 100)
                self.assertEqual(said, answer)

    # ------------------------------------------------------------------------------------ positions and questions

    def test_counts_are_short_where_nobody_watches(self):
        self.put_frame(put_pictures(make_image(), streams(4)))
        said = [line for line in self.run_program("list").err.splitlines() if line.startswith("Read Picture:")]
        self.assertEqual(said, ["Read Picture:: 0", "Read Picture:: 3"])

    def test_positions(self):
        five = put_pictures(make_image(LCD, 0x80000), streams(5, LCD))
        for words, positions in ((["2-3,5"], (2, 3, 5)), (["1", "4-4,1"], (1, 4)), (["1-5"], (1, 2, 3, 4, 5))):
            with self.subTest(words=words):
                self.put_frame(five)
                self.assertEqual(self.good("save", self.path("out"), *words)["saved"], len(positions))
                self.assertEqual(sorted(os.listdir(self.path("out"))), ["%d.bmp" % n for n in positions])
                for n in positions:
                    self.assert_same_bytes(self.read("out/%d.bmp" % n), stream_codec.decode(streams(5, LCD)[n - 1]))
                    os.remove(self.path("out/%d.bmp" % n))
                self.good("delete", *words)
                self.assertEqual(self.on_frame(), [s for n, s in enumerate(streams(5, LCD), 1) if n not in positions])
        self.put_frame(five)
        self.good("save", self.path("out"), "--original-names", "2")
        self.assertEqual(os.listdir(self.path("out")), [self.good("list")["pictures"][1]["name"]])
        for command in (("delete",), ("save", self.path("out"))):
            self.refused(1, *command, "4-6")

    def test_deleting_all_is_asked_about_on_a_terminal(self):
        image = self.image()
        for answer, words, left in ((b"n\n", (), 2), (b"\n", (), 2), (b"y\n", (), 0), (b"", ("--yes",), 0)):
            with self.subTest(answer=answer, words=words):
                self.put_frame(image)
                ours, theirs = pty.openpty()
                os.write(ours, answer)
                done = self.run_bare("--home", self.home, "--frame", self.frame, "delete", "--all", *words,
                                     capture_output=False, stdin=theirs, stderr=theirs, stdout=subprocess.DEVNULL)
                self.assertEqual(done.returncode, 1 if left else 0)
                self.assertIn(b"[y/N]" if answer else b"Finished", os.read(ours, 65536))
                os.close(ours), os.close(theirs)
                self.assertEqual(len(self.on_frame()), left)

    # ------------------------------------------------------------------------------------ sources

    def test_sources(self):
        names = [name.encode() for name in self.wanted]
        odd = self.path("a\nb.bmp")
        os.link(self.wanted[0], odd)
        os.link(self.wanted[1], self.path("@odd"))
        self.write("list", b"\n".join(names) + b"\n\n")
        self.write("nuls", b"\0".join([odd.encode(), names[1]]))
        for words, given, files in ((["-"], self.read(self.wanted[2]), ["standard input"]),
                                    (["@list", self.wanted[0]], b"", [*self.wanted, self.wanted[0]]),
                                    (["@nuls"], b"", [odd, self.wanted[1]]), (["./@odd"], b"", ["./@odd"]),
                                    (["@-", "@list"], b"./@odd", ["./@odd", *self.wanted]),
                                    (["-"], b"no picture", []), (["-"], b"", []), (["@-"], b"\n", None),
                                    (["@missing"], b"", None), (["-", "@-"], b"", None)):
            with self.subTest(words=words, given=given[:9]):
                self.put_frame(make_image(LCD, 0x80000))
                outcome = self.run_program("add", *words, given=given)
                self.assertEqual(outcome.status, 0 if files else 2 if len(words) == 2 else 1, outcome.err)
                if files is not None:
                    self.assertEqual([added["file"] for added in outcome.json["added"]], files)
                    self.assertEqual(len(self.on_frame()), len(files))
                    self.assertEqual([r["file"] for r in outcome.json["refused"]], ["standard input"] * (not files))

    # ------------------------------------------------------------------------------------ the whole flash, all frames

    def test_dumps(self):
        image, dump = self.image(), self.path("dump")
        self.assertEqual(self.good("dump", dump)["bytes"], len(image))
        self.assertTrue(all(line[:2] in ("12", "CD") for line in self.read("trace.txt").decode().splitlines()))
        self.assert_same_bytes(self.read("dump"), image)
        for data, at in ((image, None), (image[:-1], len(image) - 1), (image + b"x", len(image)), (b"", 0),
                         (image[:0x12345] + b"?" + image[0x12346:], 0x12345)):
            outcome = self.run_program("verify", self.write("other", data))
            self.assertEqual((outcome.status, outcome.json), (0 if at is None else 1, {"equal": at is None, "differs_at": at}))
            self.assertEqual(len(self.read("trace.txt").splitlines()) > 20, len(data) == len(image))
        self.assertIn("not a plain file", self.refused(1, "verify", "/dev/null").json["error"])
        self.good("frame", "new", self.path("made"), "--from", dump, frame=False)
        self.assert_same_bytes(self.read("made"), image)
        self.good("--fault", "8:flip", "dump", dump)
        self.assert_same_bytes(self.read("dump"), image)
        for fault, target in (("9:unplug", self.path("new")), ("3:unplug", self.path("new")), ("999:flip", self.path("no/new"))):
            self.refused(1, "--fault", fault, "dump", target)
            self.assertFalse(os.path.exists(target))
        self.refused(1, "frame", "new", self.path("made"), "--from", dump, frame=False)  # a frame is never replaced
        for data in (b"", image[:0x60000], bytes(0x40000), b"\xFF" * 0x40000, b"words" * 60000):
            self.refused(3, "frame", "new", self.path("new"), "--from", self.write("other", data), frame=False)
            self.assertFalse(os.path.exists(self.path("new")))
        self.refused(2, "frame", "new", self.path("new"), "--from", dump, "--lcd", "8x8", frame=False)

    def test_frames(self):
        image = self.image()
        facts = {"node": self.frame, "lcd_width": 160, "lcd_height": 120, "flash_size": 0x80000, "pictures": 2, "due": False}
        self.assertEqual(self.good("frames")["frames"][-1].items() & facts.items(), facts.items())
        self.assertTrue(all(line[:2] in ("12", "CD") for line in self.read("trace.txt").decode().splitlines()))
        self.assertEqual((self.image(), os.listdir(self.home)), (image, []))
        self.cut("add", self.wanted[0], at=2)
        self.assertTrue(self.good("frames")["frames"][-1]["due"])
        self.put_frame(image)
        holder = self.begin("frame", "serve", self.frame, "--socket", self.path("socket"))
        while not os.path.exists(self.path("socket")):
            self.assertIsNone(holder.poll())
        self.assertIn("in use", self.good("frames")["frames"][-1]["reason"])
        holder.kill()
        holder.wait()
        self.refused(3, "--frame", "/dev/sg9999", "info", frame=False)


if __name__ == "__main__":
    story.take_files(__doc__)
    unittest.main()
