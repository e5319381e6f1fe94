#!/usr/bin/env python3
"""Our own program drives frames on a USB bus under a real Linux kernel, in a virtual machine.

Usage: rig_test.py LUMATOCTL [--controller xhci|ehci] [--cache FOLDER] [--all] [--only TEXT] [--keep]

Every call in the machine is made on an image file here, too: results, files and flash must be the same to the
byte. Exit status 77: the machine cannot be had here (no qemu, no kernel package), nothing was tested.
"""
import argparse
import filecmp
import glob
import json
import os
import random
import shutil
import struct
import subprocess
import sys
import tempfile
import time
import traceback

import kernel
import machine

SKIPPED = 77
WIDTH, HEIGHT = 160, 128
VENDOR_OPCODES = ("CA", "CB", "CD")
INQUIRY = "120000004000"
USER = 65534


def bitmap(seed):
    generator = random.Random(seed)
    stride = (3 * WIDTH + 3) // 4 * 4
    pixels = generator.randbytes(stride * HEIGHT)
    header = struct.pack("<2sIHHIIiiHHIIiiII", b"BM", 54 + len(pixels), 0, 0, 54, 40, WIDTH, HEIGHT, 1, 24, 0,
                         len(pixels), 2835, 2835, 0, 0)
    return header + pixels


def check(truth, what):
    if not truth:
        raise AssertionError(what() if callable(what) else what)


def same(have, want, what):
    check(have == want, "%s: %r, not %r" % (what, have, want))


class Story:
    def __init__(self, options, folder):
        self.folder = folder
        self.program = os.path.abspath(options.program)
        self.local = os.path.join(folder, "local.img")
        subprocess.run([self.program, "frame", "new", self.local, "--lcd", "%dx%d" % (WIDTH, HEIGHT), "--flash", "1M"],
                       check=True, stdout=subprocess.DEVNULL)
        self.frame = self._frame("frame")
        self.other = self._frame("other", "--vendor", "SOMEBODY")
        self.second = self._frame("second")
        self.second.order("unplug")
        self.machine = None

    def _frame(self, name, *options):
        image = os.path.join(self.folder, name + ".img")
        shutil.copyfile(self.local, image)
        return machine.Frame(self.program, self.folder, name, image, *options)

    def boot(self, controller, cache):
        image, initrd = kernel.build(cache)
        self.machine = machine.Machine(image, initrd, controller, (self.frame, self.other, self.second), self.folder)
        share = self.machine.share
        shutil.copy(self.program, share)
        for module in glob.glob(os.path.join(os.path.dirname(self.program), "*.so")):
            shutil.copy(module, share)
        for number in range(1, 5):
            with open(os.path.join(share, "source%d.bmp" % number), "wb") as file:
                file.write(bitmap(number))
        status, out, err = self.machine.run(
            "export SYSTEMD_IGNORE_CHROOT=1; /lib/systemd/systemd-udevd --daemon && udevadm trigger --action=add && "
            "udevadm settle -t 30")
        same(status, 0, "udevd in the machine: " + out + err)
        self.settle(2)
        self.wait_before_probing(0)

    def wait_before_probing(self, seconds):
        """How long the kernel lets a storage device rest after its plug. One second is its own choice."""
        self.machine.run("echo %d >/sys/module/usb_storage/parameters/delay_use" % seconds)

    def close(self):
        if self.machine:
            self.machine.close()
        for frame in (self.frame, self.other, self.second):
            frame.close()

    # ------------------------------------------------------------------------------------ calls

    def there(self, *arguments, seconds=90, prefix=""):
        """lumatoctl in the machine."""
        return self.machine.run("cd /mnt/share; %s ./lumatoctl --home /tmp/home --json --trace /mnt/share/trace %s"
                                % (prefix, " ".join(arguments)), seconds)

    def here(self, *arguments):
        """The same on the image file."""
        done = subprocess.run([self.program, "--home", os.path.join(self.folder, "home"), "--json", "--frame", self.local,
                               "--trace", os.path.join(self.folder, "local.trace"), *arguments],
                              cwd=self.machine.share, capture_output=True, text=True, timeout=60)
        return done.returncode, done.stdout, done.stderr

    def both(self, *arguments):
        """Both, with the same result, flash and vendor commands."""
        have, want = self.there(*arguments), self.here(*arguments)
        same(have[0], want[0], "exit status of %s (%s)" % (arguments, have[2]))
        same(have[1].strip(), want[1].strip(), "result of %s" % (arguments,))
        check(filecmp.cmp(self.frame.image, self.local, shallow=False), "%s: the flashes differ" % (arguments,))
        same(self.trace(os.path.join(self.machine.share, "trace")), self.trace(os.path.join(self.folder, "local.trace")),
             "commands of %s" % (arguments,))
        return json.loads(have[1])

    @staticmethod
    def trace(path):
        """The vendor commands of a trace, without the time of day."""
        with open(path) as file:
            return ["clock" if line.startswith("CA") else line for line in file if line.startswith(VENDOR_OPCODES)]

    def settle(self, nodes):
        """Waits until there are so many SCSI generic nodes and udev has looked at them."""
        status, out, err = self.machine.run(
            "export SYSTEMD_IGNORE_CHROOT=1; for i in $(seq 100); do [ $(ls /dev/sg* 2>/dev/null | wc -l) = %d ] && break; "
            "sleep 0.1; done; udevadm settle -t 20; ls /dev/sg* | wc -l" % nodes)
        same(out.strip(), str(nodes), "SCSI generic nodes " + err)

    def node(self, vendor="QUORVANE"):
        return self.machine.run("grep -l %s /sys/class/scsi_generic/*/device/vendor | cut -d/ -f5" % vendor)[1].split()[0]

    # ------------------------------------------------------------------------------------ the steps

    def found_and_identified_with_its_volume_unmounted(self):
        disk = self.machine.run("ls /sys/class/scsi_generic/%s/device/block" % self.node())[1].strip()
        status, out, err = self.machine.run(
            "mkdir -p /media/FRAME; for i in $(seq 50); do [ -e /dev/%s1 ] && break; sleep 0.1; done; "
            "mount -t vfat -o ro /dev/%s1 /media/FRAME && ls /media/FRAME" % (disk, disk))
        same(out.lower().split(), ["languageunicode.ini"], "the frame's volume " + err)
        self.both("info")
        same(self.machine.run("grep -c FRAME /proc/mounts")[1].strip(), "0", "the volume is still mounted")

    def pictures_travel_there_and_back(self):
        self.both("add", "source1.bmp", "source2.bmp", "source3.bmp")
        same(len(self.both("list")["pictures"]), 3, "pictures")
        self.both("delete", "2")
        for place, call in (("saved-there", self.there), ("saved-here", self.here)):
            folder = os.path.join(self.machine.share, place)
            same(call("save", place if call == self.there else folder)[0], 0, "save")
        names = sorted(os.listdir(os.path.join(self.machine.share, "saved-here")))
        same(names, ["1.bmp", "2.bmp"], "saved files")
        _, differ, failed = filecmp.cmpfiles(os.path.join(self.machine.share, "saved-here"),
                                             os.path.join(self.machine.share, "saved-there"), names, shallow=False)
        same(differ + failed, [], "saved files that differ")

    def whole_blocks_travel_in_one_command(self):
        lengths = {int(length) for _, direction, length, _ in self.frame.commands() if direction != "none"}
        check(65536 in lengths, "no data phase of 64 KB")

    def identity_is_asked_before_the_first_erase(self):
        """Once at the connection and once at the download. The kernel's own INQUIRY asks for fewer bytes."""
        before = len(self.frame.commands())
        self.both("add", "source4.bmp")
        blocks = [block for block, *_ in self.frame.commands()[before:]]
        own = [n for n, block in enumerate(blocks) if block == INQUIRY]
        erase = next(n for n, block in enumerate(blocks) if block.startswith("CB") and block[20:22] == "D8")
        same(len(own), 2, "INQUIRY commands")
        table_read = max(n for n, block in enumerate(blocks[:erase]) if block.startswith("CD") and block[20:22] == "03")
        check(table_read < own[1] < erase, "INQUIRY at %s, first erase at %d" % (own, erase))

    def other_disks_get_an_inquiry_and_nothing_else(self):
        blocks = [block for block, *_ in self.other.commands()]
        check(INQUIRY in blocks, "the other disk was not asked")
        same([block for block in blocks if block.startswith(VENDOR_OPCODES)], [], "vendor commands to another disk")

    def a_second_frame_is_named_and_left_alone(self):
        self.second.order("plug")
        self.settle(3)
        status, _, err = self.there("info")
        same(status, 0, err)
        check("a second frame" in err, "nothing said of the second frame: " + err)
        vendor = [[c for c in frame.commands() if c[0].startswith(VENDOR_OPCODES)] for frame in (self.frame, self.second)]
        same(vendor[1], [], "vendor commands to the second frame")
        self.second.order("unplug")
        self.settle(2)

    def a_frame_that_somebody_holds_is_busy(self):
        before = len(self.frame.commands())
        begin = time.monotonic()
        status, _, err = self.machine.run(
            "node=/dev/%s; python3 -c 'import os, sys, time; os.open(sys.argv[1], os.O_RDWR | os.O_EXCL); "
            "open(\"/tmp/held\", \"w\"); time.sleep(60)' $node & for i in $(seq 200); do [ -e /tmp/held ] && break; "
            "sleep 0.1; done; cd /mnt/share; ./lumatoctl --home /tmp/home info; status=$?; kill $!; wait; exit $status"
            % self.node())
        same(status, 1, err)
        check("python3 (process" in err, "the holder is not named: " + err)
        same([c for c in self.frame.commands()[before:] if c[0].startswith(VENDOR_OPCODES) or c[0] == INQUIRY], [],
             "commands to a busy frame")

    def reading_survives_what_a_bus_does(self):
        for fault in ("refuse", "short", "residue", "phase", "silent"):
            self.frame.order("fault 6:" + fault)
            status, out, err = self.there("list")
            same((status, out), self.here("list")[:2], "list with %s at a command (%s)" % (fault, err))

    def an_unplug_in_a_download_is_noticed_at_once(self):
        self.frame.order("fault 40:unplug")
        status, out, _ = self.machine.run(
            "cd /mnt/share; { ./lumatoctl --home /tmp/home add source1.bmp source2.bmp 2>&1; echo status $?; } | "
            "while read -r line; do read -r now rest </proc/uptime; echo \"$now $line\"; done; "
            "dmesg | grep 'USB disconnect' | tail -1")
        *lines, disconnect = out.splitlines()
        check(lines and lines[-1].endswith("status 1"), "no failure: " + out)
        gone = float(disconnect.split("]")[0].strip("[ "))
        noticed = float(lines[-1].split()[0])
        check(noticed - gone < 1.0, "noticed after %.2f s" % (noticed - gone))
        print("    noticed after %.2f s" % (noticed - gone))
        check(any("Fail To" in line for line in lines), "no note: " + out)
        self.frame.order("plug")
        self.settle(2)
        status, _, err = self.there("add", "source1.bmp")
        same(status, 0, "after the next plug: " + err)

    def unplugged_anywhere_a_frame_recovers(self):
        """In the connection, in the read-back, at the identity check, at an erase, in the pictures' data."""
        for fault in ("fault 1:unplug", "fault 4:unplug", "fault 14:unplug", "fault 17:unplug", "fault 26:unplug"):
            self.frame.order(fault)
            status, _, err = self.there("add", "source2.bmp")
            same(status, 1, "%s: %s" % (fault, err))
            self.frame.order("plug")
            self.settle(2)
            status, _, err = self.there("info")
            same(status, 0, "after %s: %s" % (fault, err))

    def pulled_at_a_random_moment_it_recovers(self):
        generator = random.Random()
        for _ in range(3):
            number = self.machine.begin("cd /mnt/share; ./lumatoctl --home /tmp/home --quiet add source1.bmp source2.bmp")
            time.sleep(generator.uniform(0, 1.5))
            self.frame.order("unplug")
            pulled = time.monotonic()
            status, _, err = self.machine.finish(number)
            check(status in (0, 1, 3), err)
            check(time.monotonic() - pulled < 5, "it took %.1f s to end" % (time.monotonic() - pulled))
            self.frame.order("plug")
            self.settle(2)
            status, _, err = self.there("add", "source3.bmp")
            same(status, 0, "after the next plug: " + err)

    def polling_in_between_changes_nothing(self):
        self.machine.run("echo 20 >/sys/block/$(ls /sys/class/scsi_generic/%s/device/block)/events_poll_msecs"
                         % self.node())
        before = len(self.frame.commands())
        self.both("add", "source1.bmp")
        kinds = "".join("v" if c[0].startswith(VENDOR_OPCODES) else "p" for c in self.frame.commands()[before:])
        check("vpv" in kinds or "vppv" in kinds, "the kernel polled at no time in between: " + kinds)
        self.both("delete", "1")

    def unplugged_in_a_read_back_it_says_so(self):
        same(self.there("add", "source1.bmp")[0], 0, "add")
        self.frame.order("fault 9:unplug")
        status, _, err = self.there("list")
        same(status, 1, err)
        status, _, err = self.there("list")
        same(status, 3, "without a frame: " + err)
        self.wait_before_probing(1)
        self.frame.order("plug")
        status, _, err = self.there("list", prefix="for i in $(seq 200); do [ $(grep -l 08 "
                                    "/sys/bus/usb/devices/*/bInterfaceClass | wc -l) = 2 ] && break; sleep 0.02; done; ")
        same(status, 0, "just plugged in: " + err)
        self.wait_before_probing(0)

    def users_need_the_rule(self):
        user = "setpriv --reuid=%d --regid=%d --clear-groups env HOME=/tmp/user" % (USER, USER)
        self.settle(2)
        command = "mkdir -p /tmp/user; chown %d /tmp/user; cd /tmp/user; %s /mnt/share/lumatoctl info" % (USER, user)
        status, _, err = self.machine.run("chmod 755 /mnt/share /mnt/share/lumatoctl; " + command)
        same(status, 1, "without the rule: " + err)
        check("/dev/" + self.node() in err and "lumatoctl permit" in err, "node and remedy are not named: " + err)
        status, out, err = self.machine.run(
            "export SYSTEMD_IGNORE_CHROOT=1; mkdir -p /run/systemd/seats; "
            "printf 'IS_SEAT0=1\\nACTIVE=c1\\nACTIVE_UID=%d\\n' >/run/systemd/seats/seat0; "
            "/mnt/share/lumatoctl permit && udevadm settle -t 20" % USER)
        same(status, 0, "permit: " + out + err)
        status, _, err = self.machine.run(command)
        same(status, 0, "with the rule: " + err)

    STEPS = [found_and_identified_with_its_volume_unmounted, pictures_travel_there_and_back,
             polling_in_between_changes_nothing, whole_blocks_travel_in_one_command, identity_is_asked_before_the_first_erase,
             other_disks_get_an_inquiry_and_nothing_else, a_second_frame_is_named_and_left_alone,
             a_frame_that_somebody_holds_is_busy, reading_survives_what_a_bus_does,
             an_unplug_in_a_download_is_noticed_at_once, unplugged_anywhere_a_frame_recovers,
             pulled_at_a_random_moment_it_recovers, unplugged_in_a_read_back_it_says_so, users_need_the_rule]
    # What is the same on every host controller.
    OF_THE_PROGRAM = [a_second_frame_is_named_and_left_alone, a_frame_that_somebody_holds_is_busy,
                      unplugged_anywhere_a_frame_recovers, users_need_the_rule]


def tell(story, options):
    begin = time.monotonic()
    story.boot(options.controller, options.cache)
    print("booted on %s after %.1f s" % (options.controller, time.monotonic() - begin), flush=True)
    failed = 0
    steps = [step for step in Story.STEPS
             if options.only in step.__name__ and (options.all or step not in Story.OF_THE_PROGRAM)]
    for step in steps:
        begin = time.monotonic()
        try:
            step(story)
            print("ok    %-50s %5.1f s" % (step.__name__, time.monotonic() - begin), flush=True)
        except machine.RigError:
            raise
        except Exception:
            failed += 1
            print("FAIL  %s\n%s" % (step.__name__, traceback.format_exc()), flush=True)
    print("%d of %d steps failed" % (failed, len(steps)))
    return 1 if failed else 0


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("program")
    parser.add_argument("--controller", choices=sorted(machine.HOST_CONTROLLERS), default="xhci")
    parser.add_argument("--cache", default=os.path.expanduser("~/.cache/lumato-rig"))
    parser.add_argument("--all", action="store_true", help="what does not depend on the controller, too")
    parser.add_argument("--only", default="", help="only the steps whose name contains this")
    parser.add_argument("--keep", action="store_true", help="keep the folder with logs and images")
    options = parser.parse_args()
    folder = tempfile.mkdtemp(prefix="lumato-rig-")
    story = None
    try:
        kernel.need_programs()
        os.makedirs(options.cache, exist_ok=True)
        story = Story(options, folder)
        status = tell(story, options)
    except kernel.Missing as reason:
        print("SKIPPED, NOTHING WAS TESTED ON A REAL KERNEL: %s" % reason)
        status = SKIPPED
    except machine.RigError as error:
        print("the rig failed: %s" % error)
        status = 1
    finally:
        if story:
            story.close()
    if options.keep or status == 1:
        print("logs and images: " + folder)
    else:
        machine.remove(folder)
    return status


if __name__ == "__main__":
    sys.exit(main())
