"""Backups, read by another tar reader; restored, damaged, forged, and cut off.

    python3 backup_story_test.py LUMATOCTL [unittest arguments]
"""
import hashlib
import io
import json
import os
import random
import tarfile
import unittest

import story
from flash_reader import make_image, put_pictures, streams_of
from story import Story, noise, streams, wave

LCD = (48, 32)


def archive(files):
    """A tar file with these (name, bytes), or ready entries."""
    made = io.BytesIO()
    with tarfile.open(fileobj=made, mode="w", format=tarfile.USTAR_FORMAT) as tar:
        for name, data in files:
            entry = name if isinstance(name, tarfile.TarInfo) else tarfile.TarInfo(name)
            entry.size = len(data) if entry.isreg() else 0
            tar.addfile(entry, io.BytesIO(data))
    return made.getvalue()


def names(pictures):
    """Short ones, for comparing."""
    return [hashlib.sha256(stream).hexdigest()[:8] for stream in pictures]


class Backups(Story):
    def setUp(self):
        super().setUp()
        self.put_frame(put_pictures(make_image(LCD), streams(2, LCD)))
        self.photographs = [self.write("photo %d.bmp" % n, noise(*LCD, n)) for n in range(1, 5)]
        self.good("add", *self.photographs)
        self.original = self.image()
        self.pictures = streams_of(self.original)
        self.names = names(self.pictures)
        self.backup = self.path("frame.tar")
        self.assertEqual(self.good("backup", self.backup)["pictures"], 6)
        self.assert_same_bytes(self.image(), self.original)

    def restore(self, *options, image=None, file=None, statuses=(0,)):
        self.put_frame(image if image is not None else make_image(LCD))
        return self.run_program("restore", file or self.backup, *options, statuses=statuses)

    def test_what_others_find_in_it(self):
        with tarfile.open(self.backup) as tar:
            files = {entry.name: tar.extractfile(entry).read() for entry in tar}
        manifest = json.loads(files["manifest.json"])
        self.assertEqual(names(files[p["file"]] for p in manifest["pictures"]), self.names)
        self.assertEqual((manifest["frame"]["lcd_width"], manifest["frame"]["lcd_height"]), LCD)
        self.assertTrue(manifest["pictures"][2]["origin"]["source"].endswith("/photo%201.bmp"))
        self.assertEqual(files.pop("SHA256SUMS").decode().splitlines(),
                         ["%s  %s" % (hashlib.sha256(data).hexdigest(), name) for name, data in files.items()])
        self.assertEqual(sum(data[:2] == b"\xFF\xD8" for name, data in files.items() if name.endswith(".jpg")), 6)
        self.refused(1, "backup", self.backup)
        self.refused(2, "backup", self.frame)
        self.good("backup", self.backup, "--force")

    def test_the_same_frame(self):
        self.assertEqual({m["made"] for m in self.restore().json["made"]}, {"as it was"})
        self.assert_same_bytes(self.image(), self.original)
        # In place of others, of which one waits: nothing is left of them.
        self.put_frame(put_pictures(make_image(LCD), streams(5, LCD)))
        self.cut("add", self.write("other.bmp", wave(*LCD, 9)), later=6)
        self.assertEqual(self.run_program("restore", self.backup, "--dry-run").json["lost"], 4)
        self.good("restore", self.backup)
        self.assertEqual(names(streams_of(self.image())), self.names)
        # What is damaged in the backup, and not on the frame, is not lost.
        data = self.read(self.backup)
        at = data.find(self.pictures[3])
        damaged = self.write("damaged.tar", data[:at + 99] + bytes([data[at + 99] ^ 1]) + data[at + 100:])
        self.assertEqual(self.good("restore", damaged)["refused"], [])
        self.assertEqual(names(streams_of(self.image())), self.names)
        self.assertEqual(self.good("list")["pictures"][2]["source"], self.photographs[0])
        self.good("delete", "--all")
        self.good("backup", self.path("empty.tar"))
        self.refused(1, "restore", self.path("empty.tar"))

    def test_another_frame(self):
        os.remove(self.photographs[3])
        answer = self.restore(image=make_image((64, 40))).json
        self.assertEqual([m["made"] for m in answer["made"]],
                         ["from its picture"] * 2 + ["from its original"] * 3 + ["from its picture"])
        restored = names(streams_of(self.image()))
        self.put_frame(make_image((64, 40)))
        self.good("add", *self.photographs[:3])
        self.assertEqual(names(streams_of(self.image())), restored[2:5])
        # What does not fit is refused whole.
        self.assertIn("the frame holds 3", self.restore(image=make_image(LCD, limit=3), statuses=(1,)).err)
        self.put_frame(make_image(LCD, flash_size=0x80000))
        self.good("add", *[self.write("big%d.bmp" % n, noise(*LCD, n)) for n in range(40)])
        self.good("backup", self.path("big.tar"))
        tiny = make_image(LCD, flash_size=0x20000)
        self.assertIn("has room for", self.restore(image=tiny, file=self.path("big.tar"), statuses=(1,)).err)
        self.assert_same_bytes(self.image(), tiny)

    def test_damage(self):
        """Whatever is damaged: every stream that is whole comes back, in its order, and no other."""
        whole = self.read(self.backup)
        generator = random.Random(story.seed(7))
        cases = [("cut", at) for at in range(0, len(whole), len(whole) // 12)]
        cases += [("zeroed", at) for at in range(0, len(whole) - 512, 512 * (1 if not story.QUICK else 3))]
        cases += [("flipped", generator.randrange(len(whole))) for _ in range(20)]
        for kind, at in cases:
            with self.subTest(kind=kind, at=at):
                data = bytearray(whole)
                if kind == "cut":
                    del data[at:]
                elif kind == "zeroed":
                    data[at:at + 512] = bytes(512)
                else:
                    data[at] ^= 1 << at % 8
                sound = names(stream for stream in self.pictures if bytes(data).find(stream) >= 0)
                damaged = self.write("damaged.tar", data)
                answer = self.restore(file=damaged, statuses=(0, 1))
                if answer.status == 1 and "restored" not in answer.json:
                    self.assertEqual(sound, [], answer.err)
                    continue
                restored = names(streams_of(self.image()))
                self.assertEqual(restored, sound)
                self.assertEqual(answer.status, 0 if len(restored) == len(self.pictures) else 1)

    def test_what_only_the_frame_has_left(self):
        data = bytearray(self.read(self.backup))
        data[data.find(self.pictures[2]) + 500] ^= 1
        damaged = self.write("damaged.tar", data)
        self.assertEqual(self.restore(image=self.original, file=damaged).json["restored"], 6)
        self.assert_same_bytes(self.image(), self.original)
        # Gone from the backup and not in the list either: it is said before, and what the list has beside it counts.
        self.put_frame(put_pictures(make_image(LCD), [*self.pictures[:2], *streams(3, LCD)[2:]]))
        answer = self.run_program("restore", damaged, "--dry-run").json
        self.assertEqual((answer["lost"], len(answer["refused"])), (1, 1))

    def test_forgeries(self):
        os.mkdir(self.path("x"))
        with tarfile.open(self.backup) as tar:
            tar.extractall(self.path("x"))
        with tarfile.open(self.path("again.tar"), "w", format=tarfile.GNU_FORMAT) as tar:
            tar.add(self.path("x"), ".")
        self.assertEqual(self.restore(file=self.path("again.tar")).json["restored"], 6)
        with tarfile.open(self.backup) as tar:
            files = {entry.name: tar.extractfile(entry).read() for entry in tar}
        manifest = json.loads(files.pop("manifest.json"))
        del files["SHA256SUMS"]
        good = list(files.items())
        link = tarfile.TarInfo("streams/000-link.stream")
        link.type, link.linkname = tarfile.SYMTYPE, "/etc/passwd"
        huge = tarfile.TarInfo("streams/999-huge.stream")
        huge_header = archive([(huge, b"")])[:512]
        with_size = bytearray(huge_header)
        with_size[124:136] = b"77777777777\0"
        with_size[148:156] = b" " * 8
        with_size[148:156] = b"%06o\0 " % sum(with_size)
        tiny = manifest["pictures"] + [dict(manifest["pictures"][0], sha256="00" * 32, bytes=1)] * 4000
        junk = (b"x" * 512 + bytes(512)) * 40000  # to look behind all for each takes minutes
        forged = [
            archive([("../../evil.stream", b"x"), ("/streams/evil.stream", b"x"), (link, b"")] + good),
            archive(good + good + [("streams/a/b.stream", b"x")] * 3),
            archive(good)[:-1024] + bytes(with_size),
            archive([("manifest.json", b"[" * 100000)] + good),
            archive([("manifest.json", json.dumps(dict(manifest, pictures=manifest["pictures"] * 2000)).encode())] + good),
            archive([("manifest.json", json.dumps(dict(manifest, frame={})).encode())] + good),
            archive([("manifest.json", b"x" * (5 << 20))] + good),
            archive(good + [("streams/%06d.stream" % n, b"") for n in range(20000)]),
            archive([("manifest.json", json.dumps(dict(manifest, pictures=tiny)).encode())] + good) + junk,
        ]
        for n, data in enumerate(forged):
            with self.subTest(n=n):
                self.restore(file=self.write("forged.tar", data), statuses=(0, 1))
                restored = names(streams_of(self.image()))
                self.assertEqual(restored, [name for name in self.names if name in restored])
                self.assertIn(len(restored), (0, 6))
        for n, data in enumerate([b"", b"no archive", archive([("letter.txt", b"x")]),
                                  archive([("manifest.json", json.dumps(dict(manifest, version=2)).encode())] + good)]):
            self.assertEqual(self.restore(file=self.write("none.tar", data), statuses=(1,)).json.keys(), {"error"}, n)
        many = archive([("manifest.json", json.dumps(dict(manifest, pictures=manifest["pictures"] * 600)).encode())] + good)
        self.assertIn("take more than", self.restore(file=self.write("many.tar", many), statuses=(1,)).err)  # seen early
        os.mkfifo(self.path("pipe"))
        self.restore(file=self.path("pipe"), statuses=(1,))
        self.restore(file="/dev/zero", statuses=(1, 2))
        self.assertFalse(os.path.exists(self.path("evil.stream")))

    def test_a_restoration_that_is_cut_off(self):
        """Before the frame was touched all is as it was, or both wait to be told apart; afterwards `download` finishes it."""
        before = put_pictures(make_image(LCD), streams(3, LCD))
        had = names(streams_of(before))
        both = had + [name for name in self.names if name not in had]
        self.restore(image=before)
        count = len(self.read("trace.txt").splitlines())
        waited = 0
        for kind in ("unplug", "refuse", "lost"):
            for at in range(1 + count // 3, count + 1, 5 if story.QUICK else 2):
                with self.subTest(kind=kind, at=at):
                    self.restore("--fault", "%d:%s" % (at, kind), image=before, statuses=(0, 1, 3, 4))
                    waited += self.image() != before
                    self.good("download")
                    self.assertIn(names(streams_of(self.image())), (had, self.names, both))
        self.assertGreater(waited, 3)

    def test_mending_from_it(self):
        damaged = bytearray(self.original)
        for stream in self.pictures[2:5]:
            at = self.original.find(stream)
            damaged[at + len(stream) // 2] ^= 4
        self.put_frame(damaged)
        self.home = self.path("another home")
        self.run_program("check", "--mend", statuses=(0, 1))
        self.home = self.path("home")
        for photograph in self.photographs:
            os.remove(photograph)
        states = self.good("check", "--mend", "--from", self.backup)["pictures"]
        self.assertEqual([p["state"] for p in states], ["unknown"] * 2 + ["mended"] * 3 + ["good"])
        self.assert_same_bytes(self.image(), self.original)


if __name__ == "__main__":
    story.take_files(__doc__)
    unittest.main()
