"""The program watch_frame in the machine: a main loop that is told by the bus what comes and goes."""
import os
import time

SECONDS = 20


class Watch:
    def __init__(self, story, user=""):
        """`user`: the command that makes another user run it."""
        self.machine, self.seen = story.machine, 0
        self.log = os.path.join(story.share, "watch.out")
        self.machine.run("rm -f /tmp/end; mkfifo /tmp/end; chmod 666 /tmp/end; sleep 300 >/tmp/end & echo $! >/tmp/end.pid; "
                         "{ %s /tmp/watch_frame </tmp/end >watch.out 2>watch.err; echo ended $? >>watch.out; } &"
                         % user)

    def said(self, *wanted):
        """Waits until each of these texts has come since the last call; the seconds that took."""
        begin = time.monotonic()
        while True:
            new = self._lines()[self.seen:]
            if all(any(text in line for line in new) for text in wanted):
                self.seen += len(new)
                return time.monotonic() - begin
            if time.monotonic() - begin > SECONDS:
                raise AssertionError("%s was not said: %s" % (wanted, new))
            time.sleep(0.005)

    def _lines(self):
        try:
            with open(self.log) as file:
                return [line for line in file if line.endswith("\n")]
        except FileNotFoundError:  # it is just starting
            return []

    def end(self):
        self.machine.run("read pid </tmp/end.pid; kill $pid")
        self.said("ended 0")
        os.remove(self.log)
