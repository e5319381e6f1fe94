"""The plug pulled before, in and after commands of every kind, and at random moments.

After each pull: the program has said so within seconds, and at the next plug every picture is there to the byte.
"""
import os
import shutil
import statistics
import time

MOMENTS = {"before": "unplug", "in": "unplug-in", "after": "unplug-after"}
SECONDS_TO_NOTE = 5.0  # an idle machine takes 0.3; a busy one says nothing about the program
STORED = 3  # pictures on the frame; one more is on its way there
NOTES = ("Fail To", "Not Online", "false", "no frame found", "unplugged")


def check(truth, what):
    if not truth:
        raise AssertionError(what)


# (what, in which call, the fault's number and block): one of each that a bus treats in another way.
COMMANDS = [("a read of the table", "list", "1:%s CD00000000000400100003"), ("a status poll", "list", "2:%s CD000000000001"),
            ("the connection's INQUIRY", "list", "1:%s 120000004000"), ("an erase", "add", "1:%s CB000000000004000000D8"),
            ("the pictures' program", "add", "2:%s CB0000000000040100000201"), ("a checksum", "add", "9:%s CD0000000005")]


class Pulls:
    def __init__(self, story, frame, local):
        """`local` runs the program here: local(image, home, arguments...)."""
        self.machine, self.frame, self.local = story.machine, frame, local
        self.share = story.share
        self.folder = os.path.join(story.folder, "pulls-" + os.path.basename(frame.image))
        os.makedirs(self.folder)
        self.base = os.path.join(self.folder, "base.img")
        self.expected = os.path.join(self.folder, "expected")
        self.noted, self.changed, self.taken_back, self.begun = [], 0, 0, 0
        shutil.copyfile(story.fresh, self.base)
        sources = [os.path.join(self.share, "source%d.bmp" % n) for n in range(1, STORED + 2)]
        self.local(self.base, "home", "add", *sources[:STORED])
        whole = os.path.join(self.folder, "whole.img")
        shutil.copyfile(self.base, whole)
        self.local(whole, "home", "add", sources[STORED])
        self.local(whole, "home", "save", self.expected)
        self.load()

    # ------------------------------------------------------------------------------------ a frame in a known state

    def load(self):
        self.frame.order("unplug")
        self.run("rm -rf /tmp/pulled", plugged=False)
        shutil.copyfile(self.base, self.frame.image)
        self.untouched = self.flash()
        self.frame.order("plug")
        self.run("true")

    def flash(self):
        with open(self.frame.image, "rb") as file:
            return file.read()

    def script(self, text, plugged=True):
        """`text` once the frame is there, or gone."""
        return "await nodes %d; %s" % (1 + plugged, text)

    def run(self, text, plugged=True):
        return self.machine.run(self.script(text, plugged))

    def sent(self, since=0):
        """The blocks that our program has sent, without those of the kernel's own."""
        blocks = [command[0] for command in self.frame.commands()[since:]]
        return [block for block in blocks if block[:2] in ("CA", "CB", "CD") or block == "120000004000"]

    def undisturbed(self):
        """The blocks that a call which adds a picture sends."""
        before = len(self.frame.commands())
        status, _, err = self.run("/tmp/lumatoctl --home /tmp/pulled add source%d.bmp" % (STORED + 1))
        check(status == 0, err)
        blocks = self.sent(before)
        self.load()
        return blocks

    # ------------------------------------------------------------------------------------ pulls

    def in_commands(self, moments):
        for what, call, fault in COMMANDS:
            for moment in moments:
                self.once("%s %s" % (moment, what), "list" if call == "list" else "add source%d.bmp" % (STORED + 1),
                          fault % MOMENTS[moment])

    def at_random(self, generator, count):
        most = len(self.undisturbed())
        for _ in range(count):
            commands, seconds = generator.randrange(most), generator.uniform(0, 0.02)
            self.once("%.4f s after %d commands" % (seconds, commands), "add source%d.bmp" % (STORED + 1), None,
                      lambda: self.pull_after(commands, seconds))

    def pull_after(self, commands, seconds):
        """Requires: our program is about to begin."""
        begin, before = time.monotonic(), self.begun
        while len(self.sent(before)) < commands and time.monotonic() - begin < 20:
            time.sleep(0.001)
        time.sleep(seconds)
        self.frame.order("unplug")

    def once(self, what, call, fault, pull=None):
        """`fault`: a fault on order that pulls the plug; without it `pull` does, while the call runs."""
        gone = self.frame.gone()
        self.run("true")
        self.begun = len(self.frame.commands())
        if fault:
            self.frame.order("fault " + fault)
        number = self.machine.begin("/tmp/lumatoctl --home /tmp/pulled " + call)
        if pull:
            pull()
        status, _, err = self.machine.finish(number)
        ended = time.monotonic()
        pulled = gone.moment()
        if status != 0:
            check(ended - pulled < SECONDS_TO_NOTE, "%s: noted after %.2f s" % (what, ended - pulled))
            check(status in (1, 3, 4) and any(note in err for note in NOTES), "%s: status %d, %s" % (what, status, err))
            self.noted.append(ended - pulled)
        else:
            check(pull or what.startswith("after"), what + ": it did not fail")
        self.recover(what)

    def recover(self, what):
        touched = self.flash() != self.untouched
        self.run("rm -rf saved", plugged=False)
        self.frame.order("plug")
        status, _, err = self.run("/tmp/lumatoctl --home /tmp/pulled save saved; status=$?; %s; exit $status"
                                  % ("true" if touched else "rm -rf /tmp/pulled"))
        check(status == 0, "%s: at the next plug: %s" % (what, err))
        numbers = self.pictures(os.path.join(self.share, "saved"), what)
        self.taken_back += len(numbers) > STORED
        if touched:
            self.complete(what, numbers)

    def complete(self, what, listed):
        """The next download, which takes the picture that was on its way out of the list again, makes the flash whole."""
        self.changed += 1
        check(STORED + 1 in listed, what + ": the picture on its way is lost")
        status, _, err = self.run("/tmp/lumatoctl --home /tmp/pulled delete %d; status=$?; rm -rf /tmp/pulled; exit $status"
                                  % (listed.index(STORED + 1) + 1))
        check(status == 0, "%s: the next download: %s" % (what, err))
        image, folder = os.path.join(self.folder, "completed.img"), os.path.join(self.folder, "completed")
        shutil.copyfile(self.frame.image, image)
        shutil.rmtree(folder, ignore_errors=True)
        self.local(image, "fresh", "save", folder)
        numbers = self.pictures(folder, what + ", completed")
        check(numbers == list(range(1, STORED + 1)), "%s, completed: %s" % (what, numbers))
        self.untouched = self.flash()

    def pictures(self, folder, what):
        """The numbers of the pictures there, in order: all that were stored, and perhaps the one on its way."""
        known = {}
        for number in range(1, STORED + 2):
            with open(os.path.join(self.expected, "%d.bmp" % number), "rb") as file:
                known[file.read()] = number
        numbers = []
        for position in range(1, len(os.listdir(folder)) + 1):
            with open(os.path.join(folder, "%d.bmp" % position), "rb") as file:
                numbers.append(known.get(file.read(), "changed"))
        all_stored = list(range(1, STORED + 1))
        check(sorted(numbers, key=str) in (all_stored, all_stored + [STORED + 1]), "%s: the pictures are %s" % (what, numbers))
        return numbers

    def report(self):
        return "%d pulls noted after %.2f s (median), %.2f s (longest); %d had changed the flash, %d gave back the picture on " \
            "its way" % (len(self.noted), statistics.median(self.noted), max(self.noted), self.changed, self.taken_back)
