#!/usr/bin/env python3
"""Our own program drives frames on a USB bus under a real Linux kernel, in a virtual machine.

Usage: rig_test.py LUMATOCTL --watcher WATCH_FRAME [--controller xhci|ehci] [--cache FOLDER] [--all] [--pulls N]
                   [--seed N] [--only TEXT] [--keep]

One machine has both host controllers; the first does everything, the second what it makes a difference to.

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
import sys
import tempfile
import time
import traceback

import kernel
import machine
from calls import VENDOR_OPCODES, Calls, said, same
from frames import Frames
from pulls import Pulls, check
from watch import Watch

SKIPPED = 77
INQUIRY = "120000004000"
USER = 65534


class Story(Calls, Frames):
    def found_and_identified_with_its_volume_unmounted(self):
        disk = self.disk()
        status, out, err = self.machine.run(
            "mkdir -p /media/FRAME; await [ -e /dev/%s1 ]; "
            "mount -t vfat -o ro /dev/%s1 /media/FRAME && ls /media/FRAME" % (disk, disk))
        same(out.lower().split(), ["languageunicode.ini"], "the frame's volume " + err)
        self.both("info")
        same(self.machine.run("grep -c FRAME /proc/mounts")[1].strip(), "0", "the volume is still mounted")

    def pictures_travel_there_and_back(self):
        self.both("add", "source1.bmp", "source2.bmp", "source3.bmp")
        same(len(self.both("list")["pictures"]), 3, "pictures")
        self.both("delete", "2")
        for place, call in (("saved-there", self.there), ("saved-here", self.here)):
            folder = os.path.join(self.share, place)
            same(call("save", place if call == self.there else folder)[0], 0, "save")
        names = sorted(os.listdir(os.path.join(self.share, "saved-here")))
        same(names, ["1.bmp", "2.bmp"], "saved files")
        _, differ, failed = filecmp.cmpfiles(os.path.join(self.share, "saved-here"),
                                             os.path.join(self.share, "saved-there"), names, shallow=False)
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
        same([block for block in blocks if block.startswith((*VENDOR_OPCODES, "2A"))], [], "commands to another disk")

    def a_second_frame_is_named_and_left_alone(self):
        self.second.order("plug")
        self.settle(3)
        status, _, err = self.there("info")
        same(status, 0, err)
        check("a second frame" in err, "nothing said of the second frame: " + err)
        vendor = [[c for c in frame.commands() if c[0].startswith(VENDOR_OPCODES)] for frame in (self.frame, self.second)]
        same(vendor[1], [], "vendor commands to the second frame")
        status, out, err = self.there("frames")
        found = {frame["node"]: frame for frame in json.loads(out)["frames"]}
        same((status, len(found)), (0, 2), "frames: " + out + err)
        for node, frame in found.items():
            answer = json.loads(self.there("--frame", node, "info")[1])
            same({key: frame[key] for key in ("lcd_width", "flash_size", "pictures")},
                 {key: answer[key] for key in ("lcd_width", "flash_size", "pictures")}, node)
        same([c for c in self.second.commands() if c[0].startswith("CB")], [], "writes to the second frame")
        check(self.there("--frame", "/dev/sg99", "info")[0] == 3, "a frame at a node that is not there")
        self.second.order("unplug")
        self.settle(2)

    def a_frame_that_somebody_holds_is_busy(self):
        before = len(self.frame.commands())
        status, out, err = self.machine.run(
            "node=/dev/%s; python3 -IS -c 'import posix, sys, time; posix.open(sys.argv[1], posix.O_RDWR | posix.O_EXCL); "
            "open(\"/tmp/held\", \"w\"); time.sleep(60)' $node & await [ -e /tmp/held ]; "
            "read begin rest </proc/uptime; /tmp/lumatoctl --home /tmp/home info; status=$?; read end rest </proc/uptime; "
            "kill $!; echo $begin $end; exit $status" % self.node())
        same(status, 1, err)
        check("python3 (process" in err, "the holder is not named: " + err)
        begin, end = map(float, out.split())
        check(end - begin < 9, "said after %.1f s" % (end - begin))
        kernels_own = "00"  # TEST UNIT READY, which it sends now and then to a disk that can be taken out
        same([c for c in self.frame.commands()[before:] if c[0][:2] != kernels_own], [], "commands to a busy frame")

    def a_busy_volume_names_the_program_that_holds_it(self):
        disk = self.disk()
        status, _, err = self.machine.run(
            "mkdir -p /media/FRAME; await [ -e /dev/%s1 ]; "
            "mount -t vfat -o ro /dev/%s1 /media/FRAME && { /bin/sleep 60 <\"$(ls -d /media/FRAME/*)\" & sleep 0.2; "
            "/tmp/lumatoctl --home /tmp/home info; status=$?; kill $!; sleep 0.1; umount /media/FRAME; exit $status; }"
            % (disk, disk))
        same(status, 0, err)
        check("FRAME: in use by sleep (process " in err, "the holder is not named: " + err)

    def a_main_loop_is_told_what_comes_and_goes(self):
        """The window's way: the bus's descriptor in the loop, a task that uses the frame."""
        watch = Watch(self)
        watch.said("online /dev/" + self.node())
        for frame in (self.frame, self.second):
            if frame == self.second:
                frame.order("plug")
                watch.said("online /dev/sg")
                time.sleep(0.1)
            frame.order("unplug")
            seconds = watch.said("lost", "offline")
            print("    offline after %.2f s" % seconds)
            check(seconds < 1, "offline after %.2f s" % seconds)
        self.frame.order("plug")
        watch.said("online /dev/sg")
        self.second.order("plug")
        watch.said("a second frame")
        self.second.order("unplug")
        watch.end()
        self.settle(2)

    def reading_survives_what_a_bus_does(self):
        for fault in ("refuse", "short", "residue", "phase", "silent"):
            self.frame.order("fault 6:" + fault)
            status, out, err = self.there("list")
            here = self.here("list")
            same((status, said(out)), (here[0], said(here[1])), "list with %s at a command (%s)" % (fault, err))

    def writing_survives_what_a_bus_does(self):
        """Each fault costs an attempt, and the flash is what it would be without."""
        erase, program, checksum, info = "CB000000000004000000D8", "CB0000000000040100000201", "CD0000000005050000", "CD"
        for fault, sense in (("refuse " + erase, "sense "), ("half " + program, "sense "), ("lost " + program, "sense "),
                             ("lie " + program, ""), ("residue " + program, ""), ("short " + checksum, ""),
                             ("phase " + program, "host status"), ("silent " + program, "host status")
                             )[0 if self.thorough else 3:7 + self.thorough]:
            self.frame.order("fault 1:" + fault)
            status, out, err = self.there("--verbose", "add", "source1.bmp")
            want = self.here("add", "source1.bmp")
            same((status, out), want[:2], "add with %s (%s)" % (fault, err))
            check(filecmp.cmp(self.frame.image, self.local, shallow=False), fault + ": the flashes differ")
            check(sense in err, "%s: no %s in %s" % (fault, sense, err))
        self.both("delete", "--all")

    def polling_in_between_changes_nothing(self):
        self.machine.run("echo 20 >/sys/block/%s/events_poll_msecs" % self.disk())
        before = len(self.frame.commands())
        self.both("add", "source1.bmp")
        kinds = "".join("v" if c[0].startswith(VENDOR_OPCODES) else "p" for c in self.frame.commands()[before:])
        check("vpv" in kinds or "vppv" in kinds, "the kernel polled at no time in between: " + kinds)
        self.both("delete", "1")

    def a_program_that_was_stopped_goes_on(self):
        """Stopping interrupts the call under way, which the kernel then makes anew: the command is sent twice. So that it
        can end it goes on for longer than a command takes, and longer each time, for a busy machine's sake."""
        self.frame.order("unplug")
        self.second.order("plug")
        self.settle(2)
        before = len(self.second.commands())
        status, out, err = self.machine.run(
            "/tmp/lumatoctl --home /tmp/home --quiet add source1.bmp source2.bmp source3.bmp & "
            "stops=0; while [ -e /proc/$!/exe ]; do kill -STOP $!; nap; kill -CONT $!; "
            "stops=$((stops + 1)); for rest in $(seq $((2 + stops / 10))); do nap; done; done; wait $!")
        same(status, 0, "stopped and continued: " + out + err)
        sent = [block for block, *_ in self.second.commands()[before:]]
        check(any(block == then and block.startswith("CB") for block, then in zip(sent, sent[1:])), "nothing was sent twice")
        self.second.order("unplug")
        want = os.path.join(self.folder, "never-stopped.img")
        shutil.copyfile(self.fresh, want)
        self.local_call(want, "home", "add", *[os.path.join(self.share, "source%d.bmp" % n) for n in (1, 2, 3)])
        check(filecmp.cmp(self.second.image, want, shallow=False), "the flashes differ")
        self.frame.order("plug")
        self.settle(2)

    def just_plugged_in_it_is_waited_for(self):
        self.wait_before_probing(1)
        self.frame.order("unplug")
        status, _, err = self.there("list", prefix="await nodes 1; ")
        same(status, 3, "without a frame: " + err)
        self.frame.order("plug")
        status, _, err = self.there("list", prefix="disks() { n=0; for class in /sys/bus/usb/devices/*/bInterfaceClass; do "
                                    "read class <$class; [ $class = 08 ] && n=$((n + 1)); done; [ $n = 2 ]; }; await disks; ")
        same(status, 0, "just plugged in: " + err)
        self.wait_before_probing(0)

    def users_need_the_rule(self):
        user = "/usr/bin/setpriv --reuid=%d --regid=%d --clear-groups env HOME=/tmp/user" % (USER, USER)
        self.settle(2)
        command = "mkdir -p /tmp/user; chown %d /tmp/user; cd /tmp/user; %s /tmp/lumatoctl info" % (USER, user)
        status, _, err = self.machine.run("chmod 755 /tmp/lumatoctl; " + command)
        same(status, 1, "without the rule: " + err)
        check("/dev/" + self.node() in err and "lumatoctl permit" in err, "node and remedy are not named: " + err)
        watch = Watch(self, user)
        watch.said("lumatoctl permit")
        status, out, err = self.machine.run(
            "export SYSTEMD_IGNORE_CHROOT=1; mkdir -p /run/systemd/seats; "
            "printf 'IS_SEAT0=1\\nACTIVE=c1\\nACTIVE_UID=%d\\n' >/run/systemd/seats/seat0; "
            "/tmp/lumatoctl permit && udevadm settle -t 20" % USER)
        same(status, 0, "permit: " + out + err)
        watch.said("online /dev/" + self.node())  # without another plug
        watch.end()
        status, _, err = self.machine.run(command)
        same(status, 0, "with the rule: " + err)

    def without_udevd(self):
        """What is left needs no permissions, and udevd is slow in the machine. The kernel's own events are enough.
        Its socket stays behind."""
        self.machine.run("udev control --exit")

    def pulled_in_any_command_no_picture_is_lost(self):
        self.without_udevd()
        pulls = Pulls(self, self.frame, self.local_call)
        pulls.in_commands(("before", "in", "after") if self.random_pulls else ("in",))
        print("    " + pulls.report())

    def pulled_at_a_random_moment_no_picture_is_lost(self):
        self.without_udevd()
        seed = self.seed if self.seed is not None else random.randrange(1 << 32)
        print("    --seed %d" % seed, flush=True)
        self.frame.order("unplug")
        self.second.order("plug")
        pulls = Pulls(self, self.second, self.local_call)
        pulls.at_random(random.Random(seed), self.random_pulls or 3)
        print("    " + pulls.report())

    STEPS = [found_and_identified_with_its_volume_unmounted, a_busy_volume_names_the_program_that_holds_it,
             pictures_travel_there_and_back, polling_in_between_changes_nothing, whole_blocks_travel_in_one_command,
             identity_is_asked_before_the_first_erase, other_disks_get_an_inquiry_and_nothing_else,
             a_second_frame_is_named_and_left_alone, a_frame_that_somebody_holds_is_busy,
             a_main_loop_is_told_what_comes_and_goes, reading_survives_what_a_bus_does, writing_survives_what_a_bus_does,
             a_program_that_was_stopped_goes_on, just_plugged_in_it_is_waited_for, users_need_the_rule,
             pulled_in_any_command_no_picture_is_lost, pulled_at_a_random_moment_no_picture_is_lost]
    # The same on every host controller.
    OF_THE_PROGRAM = [a_busy_volume_names_the_program_that_holds_it, polling_in_between_changes_nothing,
                      identity_is_asked_before_the_first_erase, other_disks_get_an_inquiry_and_nothing_else,
                      a_second_frame_is_named_and_left_alone, a_frame_that_somebody_holds_is_busy,
                      a_program_that_was_stopped_goes_on, just_plugged_in_it_is_waited_for, users_need_the_rule,
                      pulled_at_a_random_moment_no_picture_is_lost]


def boot(options, stories, folder):
    image, initrd = kernel.build(options.cache)
    begin = time.monotonic()
    booted = machine.Machine(image, initrd, {story.controller: story.frames for story in stories}, folder)
    shutil.copy(options.program, booted.share)
    shutil.copy(options.watcher, os.path.join(booted.share, "watch_frame"))
    for module in glob.glob(os.path.join(os.path.dirname(os.path.abspath(options.program)), "*.so")):
        shutil.copy(module, booted.share)
    print("booted after %.1f s" % (time.monotonic() - begin), flush=True)
    return booted


def tell(story, booted, steps, thorough):
    """How many steps failed."""
    begin = time.monotonic()
    story.begin(booted, thorough)
    print("begun on %s after %.1f s" % (story.controller, time.monotonic() - begin), flush=True)
    failed = 0
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
    story.end()
    print("%d of %d steps failed on %s" % (failed, len(steps), story.controller), flush=True)
    return failed


def tell_all(options, stories, booted):
    failed = 0
    for story in stories:
        thorough = options.all or story is stories[0]
        failed += tell(story, booted, [step for step in Story.STEPS if options.only in step.__name__
                                       and (thorough or step not in Story.OF_THE_PROGRAM)], thorough)
    return 1 if failed else 0


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("program")
    parser.add_argument("--controller", choices=list(machine.HOST_CONTROLLERS), help="only this one")
    parser.add_argument("--cache", default=os.path.expanduser("~/.cache/lumato-rig"))
    parser.add_argument("--all", action="store_true", help="on each controller also what it makes no difference to")
    parser.add_argument("--pulls", type=int, help="how many at random moments; in each command at three instead of one, too")
    parser.add_argument("--seed", type=int, help="of the random moments")
    parser.add_argument("--watcher", required=True, help="the program watch_frame")
    parser.add_argument("--only", default="", help="only the steps whose name contains this")
    parser.add_argument("--keep", action="store_true", help="keep the folder with logs and images")
    options = parser.parse_args()
    folder = tempfile.mkdtemp(prefix="lumato-rig-")
    stories, booted = [], None
    try:
        kernel.need_programs()
        os.makedirs(options.cache, exist_ok=True)
        for controller in [options.controller] if options.controller else machine.HOST_CONTROLLERS:
            stories.append(Story(options, controller, folder))
        booted = boot(options, stories, folder)
        status = tell_all(options, stories, booted)
    except kernel.Missing as reason:
        print("SKIPPED, NOTHING WAS TESTED ON A REAL KERNEL: %s" % reason)
        status = SKIPPED
    except machine.RigError as error:
        print("the rig failed: %s" % error)
        status = 1
    finally:
        for part in [booted, *stories] if booted else stories:
            part.close()
    if options.keep or status == 1:
        print("logs and images: " + folder)
    else:
        shutil.rmtree(folder, ignore_errors=True)
    return status


if __name__ == "__main__":
    sys.exit(main())
