"""The frames of a story: served here, plugged into the machine, and everything anew when it begins."""
import contextlib
import os
import shutil
import subprocess
import sys

sys.path.append(os.path.join(os.path.dirname(os.path.abspath(__file__)), "../independent"))
import machine
from calls import same
from story import noise

WIDTH, HEIGHT = 160, 128


class Frames:
    """On one host controller; a machine has one or several, one after the other."""

    def __init__(self, options, controller, folder):
        self.controller, self.folder = controller, os.path.join(folder, controller)
        os.makedirs(self.folder)
        self.program = os.path.abspath(options.program)
        self.local = os.path.join(self.folder, "local.img")
        subprocess.run([self.program, "frame", "new", self.local, "--lcd", "%dx%d" % (WIDTH, HEIGHT), "--flash", "1M"],
                       check=True, stdout=subprocess.DEVNULL)
        self.fresh = os.path.join(self.folder, "fresh.img")
        shutil.copyfile(self.local, self.fresh)
        self.seed, self.random_pulls = options.seed, options.pulls
        self.frames = []
        self.frame = self._frame("frame")
        self.other = self._frame("other", "--vendor", "SOMEBODY")
        # Slow enough for random moments to lie in its commands.
        self.second = self._frame("second", "--type", "5", "--pace", "8")

    def _frame(self, name, *options):
        image = os.path.join(self.folder, name + ".img")
        shutil.copyfile(self.local, image)
        self.frames.append(machine.Frame(self.program, self.folder, name, image, *options))
        self.frames[-1].order("unplug")
        return self.frames[-1]

    def begin(self, booted, thorough):
        """Nothing is left of what came before; udevd was ended, has the rule, or was never there."""
        self.machine, self.thorough = booted, thorough
        self.share = os.path.join(booted.share, self.controller)
        os.makedirs(self.share)
        booted.place = self.controller
        for number in range(1, 5):
            with open(os.path.join(self.share, "source%d.bmp" % number), "wb") as file:
                file.write(noise(WIDTH, HEIGHT, number))
        status, out, err = booted.run(
            "await nodes 0; killall -q lumatoctl watch_frame; [ ! -e /run/udev/control ] || udev control --exit; "
            "rm -rf /run/udev/* /run/systemd /etc/udev/rules.d/70-lumato.rules; umount -l /tmp && mount -t tmpfs tmpfs /tmp && "
            "cp /mnt/share/lumatoctl /mnt/share/watch_frame /tmp && SYSTEMD_IGNORE_CHROOT=1 /lib/systemd/systemd-udevd --daemon")
        same(status, 0, "udevd in the machine: " + out + err)
        self.wait_before_probing(0)
        self.frame.order("plug")
        self.other.order("plug")
        self.settle(2)

    def end(self):
        for frame in self.frames:
            with contextlib.suppress(machine.RigError):  # some are unplugged already
                frame.order("unplug")

    def wait_before_probing(self, seconds):
        """How long the kernel lets a storage device rest after its plug. One second is its own choice."""
        self.machine.run("echo %d >/sys/module/usb_storage/parameters/delay_use" % seconds)

    def close(self):
        for frame in self.frames:
            frame.close()
