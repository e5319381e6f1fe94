"""What lumatoctl knows of pictures besides their bytes: whether they are whole, which photographs they came from, what takes
another's place, and who gives way.

    python3 care_story_test.py LUMATOCTL [unittest arguments]
"""
import os
import unittest

import flash_reader
import story
from flash_reader import make_image
from story import LCD, StoredStory, noise, wave


class Care(StoredStory):
    def states(self):
        return [picture["state"] for picture in self.run_program("check", statuses=(0, 1)).json["pictures"]]

    def test_checking(self):
        """Damage that the frame's own sum can not tell, or that still shows a picture, is found, and mended from the
        originals when that is asked for."""
        self.good("add", "--check", *self.wanted)
        whole = self.image()
        self.assertEqual(self.states(), ["unknown"] * 2 + ["good"] * 3)  # the first two are somebody else's
        slots = [flash_reader.slot(flash_reader.table_of(whole), position)[1:] for position in (3, 4, 5)]
        at, length = slots[1]

        def flipped(which, offset):
            place = slots[which][0] + offset
            return which, place, bytes([whole[place] ^ 1 << offset % 8])
        # A bit in each of the three at once, at places of its own; in one of them alone; more than a bit.
        damages = [[flipped(n, offset + 997 * n) for n, (_, size) in enumerate(slots) if offset + 997 * n < size]
                   for offset in range(0, max(size for _, size in slots), 3 * 997)]
        damages += [[flipped(1, offset)] for offset in (0, length // 997 * 997)]
        block = at // 65536 * 65536 + 65536  # in the middle of it, or behind it
        damages += [[(1, *damage)] for damage in ((at + 512, b"\xff" * 256), (at + 512, bytes(256)),
                                                  (at, bytes(min(length, block - at))))]
        for damage in damages:
            with self.subTest(damage=[(which, place - slots[which][0], len(data)) for which, place, data in damage]):
                image, hurt = bytearray(whole), {which for which, _, _ in damage}
                for _, place, data in damage:
                    image[place:place + len(data)] = data
                self.put_frame(image)
                self.assertEqual(self.states(), ["unknown"] * 2 + ["damaged" if n in hurt else "good" for n in range(3)])
                self.assert_same_bytes(self.image(), image)
                mended = self.good("check", "--mend")["pictures"]
                self.assertEqual([p["state"] for p in mended],
                                 ["unknown"] * 2 + ["mended" if n in hurt else "good" for n in range(3)])
                self.assert_same_bytes(self.image(), whole)
        # What another photograph has become is no source.
        original = self.read(self.wanted[1])
        self.put_frame(image)
        self.write(self.wanted[1], self.read(self.wanted[0]))
        self.assertIn("no whole copy", self.run_program("check", "--mend", statuses=(1,)).json["pictures"][3]["reason"])
        self.assert_same_bytes(self.image(), image)
        self.write(self.wanted[1], original)
        # It stays damaged when pictures come, go and move beside it.
        self.put_frame(whole[:at + 997] + bytes([whole[at + 997] ^ 1]) + whole[at + 998:])
        for good, *change in ((3, "add", self.wanted[0]), (3, "move", 5, 1), (2, "delete", 6)):
            self.good(*change)
            self.assertEqual((self.states().count("good"), self.states().count("damaged")), (good, 1))

    def test_checking_the_table_and_what_others_wrote(self):
        self.good("add", *self.wanted)
        whole = self.image()
        self.assertEqual(self.good("check")["table"], "good")
        trace = [""] + self.read("trace.txt").decode().splitlines()
        reads = [n for n, line in enumerate(trace) if line[:2] == "CD" and line[20:22] == "03"]
        # A table that reads twice as zeros, sum and all, is written anew; once, it is the cable. One that can not be right
        # is told, and left.
        at = next(k for k in range(len(reads)) if trace[reads[k]] == trace[reads[k + 1]])
        for times, state in ((1, "good"), (2, "mended")):
            lies = [w for n in range(reads[at], reads[at + times]) for w in ("--fault", "%d:lie" % n)]
            self.assertEqual(self.run_program(*lies, "check").json["table"], "good" if times == 1 else "damaged")
            self.assertEqual(self.good(*lies, "check", "--mend")["table"], state)
            self.assert_same_bytes(self.image(), whole)
        table = flash_reader.Information(whole).table_address
        for place, reason in ((flash_reader.slot(whole[table:], 2)[1], "share"), (table, "in the table"), (0, "outside")):
            image = bytearray(whole)
            image[table + 17:table + 20] = place.to_bytes(3, "little")
            self.put_frame(image)
            told = self.run_program("check", "--mend", statuses=(1,)).json
            self.assertIn(reason, told["table_reason"])
            self.assert_same_bytes(self.image(), image)
        self.put_frame(whole)
        for n in reads[-3:]:  # a cable that changes a bit on the way is no damage, and is told when it does so often
            flipped = self.run_program("--fault", "%d:flip" % n, "check")
            self.assertEqual((flipped.status, flipped.json["retries"]), (0, 1))
            self.assertEqual("getting weak" in flipped.err, n == reads[-1])
        # What this computer wrote it knows, although the download broke off and another call finished it.
        self.cut("add", self.write("late.bmp", wave(*LCD, 6)), later=6)
        self.good("download")
        self.assertEqual(self.states(), ["unknown"] * 2 + ["good"] * 4)
        first, self.home = self.home, self.path("other home")
        self.assertEqual(self.states(), ["unknown"] * 6)
        self.home = first

    def test_origins(self):
        """A picture's photograph is known by its stream, on any frame, whatever became of its name."""
        odd = self.write("100% ü\udcff .bmp", wave(*LCD, 40))
        added = self.good("add", odd, self.wanted[0])["added"]
        self.assertEqual(["copy_of" in a for a in added], [False] * 2)
        again = self.good("add", self.wanted[0], self.wanted[1], "--rotate", 90)["added"]
        self.assertEqual(["copy_of" in a for a in again], [False] * 2)  # turned, it is another
        again = self.good("add", self.wanted[0])["added"]
        self.assertEqual(again[0]["copy_of"], 4)
        self.assertIn("(the same as picture 4)", self.run_bare(
            "--home", self.home, "--frame", self.frame, "add", self.wanted[0]).stdout.decode())
        self.assertEqual(self.good("add", self.wanted[0], self.wanted[0], "--dry-run")["added"][1]["copy_of"], 4)
        self.good("delete", 1)
        listed = self.good("list")["pictures"]
        self.assertEqual([p.get("source") for p in listed], [None, odd.replace("\udcff", "\ufffd"), *[self.wanted[0]] * 2,
                                                            self.wanted[1], *[self.wanted[0]] * 2])
        # What is no line of ours is passed over, and costs nothing else.
        album = self.read("home/state/album")
        for damage in (b"", b"{", b"\0" * 5000, album.replace(b"file:", b"ftp:"), album.replace(b"added", b"addet"),
                       b'{"stream":3}' + album):
            self.write("home/state/album", damage)
            self.assertEqual(sum("source" in p for p in self.good("list")["pictures"]), 6 * (album in damage))
            self.good("add", self.wanted[2])  # known again, whatever stood before it
            self.assertEqual(self.good("list")["pictures"][7].get("source"), self.wanted[2])
            self.good("delete", 8)
        os.remove(self.home + "/state/album")
        os.mkdir(self.home + "/state/album")
        self.good("add", self.wanted[2])

    def test_replacing(self):
        """One picture takes the place of one, with the old one's bytes to its account; nothing else moves."""
        first = self.good("add", *self.wanted)["added"]
        before = self.on_frame()
        said = self.good("add", self.wanted[0], "--rotate", 90, "--replace", 2, "--dry-run")
        answer = self.good("add", self.wanted[0], "--rotate", 90, "--replace", 2)
        self.assertEqual({k: said[k] for k in answer}, answer)
        self.assertEqual((len(answer["added"]), answer["pictures"]), (1, 5))
        after = self.on_frame()
        self.assertEqual(after[:1] + after[2:], before[:1] + before[2:])
        self.assertEqual((after[1] == before[1], len(after[1])), (False, answer["added"][0]["bytes"]))
        self.assertEqual(self.good("add", self.wanted[0], "--replace", 3)["added"][0]["bytes"], first[0]["bytes"])
        self.refused(1, "add", self.wanted[0], "--replace", 6)
        for words in ((*self.wanted, "--replace", 1), (self.wanted[0], "--replace", 0), (self.wanted[0], "--replace", 1000000)):
            self.refused(2, "add", *words)

    def test_making_room(self):
        """Others give way from their photographs: no more than must, and none whose photograph is another now."""
        self.put_frame(make_image(LCD, 0x20000))
        photographs = self.sources(*(noise(*LCD, n) for n in range(10, 16)))
        size = self.good("add", photographs[0], "--dry-run")["added"][0]["bytes"]
        self.assertNotIn("room_for", self.good("list"))
        fit = self.good("info")["free_bytes"] // size
        self.good("add", *photographs[:fit])
        self.assertEqual(self.good("info")["room_for"], 0)
        last, image = photographs[fit], self.image()
        for changed in photographs[:fit]:
            os.utime(changed, (1, 1))
        answer = self.run_program("add", last, "--make-room")
        self.assertEqual((answer.status, answer.json["added"], "lowered" in answer.json), (1, [], False))
        self.assertIn("no room can be made", answer.json["refused"][0]["reason"])
        self.assert_same_bytes(self.image(), image)
        self.put_frame(make_image(LCD, 0x20000))
        self.good("add", *photographs[:fit])
        before = self.on_frame()
        os.remove(photographs[0])
        self.write("home/state/album", self.read(self.home + "/state/album").replace(b'"quality":90', b'"quality":2147483647'))
        said = self.good("add", last, "--make-room", "--dry-run")
        answer = self.good("add", last, "--make-room")
        self.assertEqual({k: said[k] for k in answer}, answer)
        after, lowered = self.on_frame(), {l["position"]: l for l in answer["lowered"]}
        self.assertEqual([len(s) for s in after], [lowered[n]["bytes"] if n in lowered else size for n, size in
                                                  enumerate(map(len, before + after[-1:]), 1)])
        self.assertNotIn(1, lowered)
        lacking = sum(map(len, before)) + size - (0x20000 - 0x11000)
        gains = sorted(len(before[n - 1]) - l["bytes"] for n, l in lowered.items())
        self.assertTrue(sum(gains) >= lacking > sum(gains[1:]), (gains, lacking))
        self.assertTrue(all(l["from"] == 100 and 50 <= l["to"] < 90 for l in lowered.values()))
        self.assertEqual({p["state"] for p in self.good("check")["pictures"]}, {"good"})


if __name__ == "__main__":
    story.take_files(__doc__)
    unittest.main()
