"""Calls of lumatoctl in the machine and, the same on an image file, here."""
import filecmp
import json
import os
import subprocess

from pulls import check

VENDOR_OPCODES = ("CA", "CB", "CD")


def same(have, want, what):
    check(have == want, "%s: %r, not %r" % (what, have, want))


def said(answer):
    """Of the frame: what is known of a photograph depends on the computer."""
    answer = json.loads(answer)
    for picture in answer["pictures"] if isinstance(answer.get("pictures"), list) else ():
        picture.pop("source", None)
        picture.pop("added", None)
    return answer


class Calls:
    def there(self, *arguments, seconds=90, prefix=""):
        """lumatoctl in the machine."""
        return self.machine.run("%s /tmp/lumatoctl --home /tmp/home --json --trace trace %s" % (prefix, " ".join(arguments)),
                                seconds)

    def here(self, *arguments):
        """The same on the image file."""
        done = subprocess.run([self.program, "--home", os.path.join(self.folder, "home"), "--json", "--frame", self.local,
                               "--trace", os.path.join(self.folder, "local.trace"), *arguments],
                              cwd=self.share, capture_output=True, text=True, timeout=60)
        return done.returncode, done.stdout, done.stderr

    def local_call(self, image, home, *arguments):
        """Another image, which must work out."""
        subprocess.run([self.program, "--home", os.path.join(self.folder, home), "--quiet", "--frame", image, *arguments],
                       check=True, stdout=subprocess.DEVNULL, timeout=60)

    def both(self, *arguments):
        """Both, with the same result, flash and vendor commands."""
        have, want = self.there(*arguments), self.here(*arguments)
        same(have[0], want[0], "exit status of %s (%s)" % (arguments, have[2]))
        same(said(have[1]), said(want[1]), "result of %s" % (arguments,))
        check(filecmp.cmp(self.frame.image, self.local, shallow=False), "%s: the flashes differ" % (arguments,))
        same(self.trace(os.path.join(self.share, "trace")), self.trace(os.path.join(self.folder, "local.trace")),
             "commands of %s" % (arguments,))
        return json.loads(have[1])

    @staticmethod
    def trace(path):
        """The vendor commands of a trace, without the time of day."""
        with open(path) as file:
            return ["clock" if line.startswith("CA") else line for line in file if line.startswith(VENDOR_OPCODES)]

    def settle(self, nodes):
        """Waits until there are so many SCSI generic nodes and udev has looked at them."""
        status, _, err = self.machine.run("await nodes %d; udev settle -t 20; nodes %d" % (nodes, nodes))
        same(status, 0, "%d SCSI generic nodes: %s" % (nodes, err))

    def node(self, vendor="QUORVANE"):
        return self.machine.run("for device in /sys/class/scsi_generic/*; do read vendor <$device/device/vendor; "
                                "[ $vendor = %s ] && echo ${device##*/}; done" % vendor)[1].split()[0]

    def disk(self):
        return self.machine.run("cd /sys/class/scsi_generic/%s/device/block; echo *" % self.node())[1].strip()
