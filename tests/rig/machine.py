"""A virtual machine with USB frames on its bus, and our own programs in it."""
import os
import select
import socket
import subprocess
import threading
import time

BOOT_SECONDS = 90
HOST_CONTROLLERS = {"xhci": "qemu-xhci", "ehci": "usb-ehci"}  # everything goes by the first's
BOARD = "q35,i8042=off,hpet=off,smm=off,sata=off"  # what the kernel need not look for
# Nothing of what a kernel does for security, or against clocks that go wrong. A program that always lies at the same
# addresses is translated by qemu once: its start takes a third.
KERNEL_OPTIONS = "console=ttyS0 quiet panic=-1 mitigations=off nokaslr init_on_alloc=0 audit=0 apparmor=0 " \
    "cryptomgr.notests no_timer_check tsc=reliable norandmaps"


class RigError(Exception):
    pass


class Gone(threading.Thread):
    """When a frame was unplugged, by whatever did that."""

    def __init__(self, control):
        super().__init__(daemon=True)
        self.at = None
        self.control = socket.socket(socket.AF_UNIX)
        self.control.connect(control)
        self.control.sendall(b"wait\n")
        self.start()

    def run(self):
        with self.control:
            if self.control.recv(4096) == b"ok\n":
                self.at = time.monotonic()

    def moment(self):
        self.join(10)
        if self.at is None:
            raise RigError("the frame was not unplugged")
        return self.at


class Frame:
    """A virtual frame that is served on a socket."""

    def __init__(self, program, folder, name, image, *options):
        self.image, self.socket = image, os.path.join(folder, name + ".sock")
        self.control = os.path.join(folder, name + ".control")
        self.trace = os.path.join(folder, name + ".trace")
        self.log = open(os.path.join(folder, name + ".log"), "wb")
        self.process = subprocess.Popen(
            [program, "frame", "serve", image, "--socket", self.socket, "--control", self.control,
             "--trace", self.trace, *options], stdout=self.log, stderr=self.log)
        self._wait_for_socket()

    def _wait_for_socket(self):
        end = time.monotonic() + 20
        while not os.path.exists(self.socket):
            if self.process.poll() is not None or time.monotonic() > end:
                raise RigError("frame serve did not start; see " + self.log.name)
            time.sleep(0.02)

    def order(self, text):
        with socket.socket(socket.AF_UNIX) as control:
            control.settimeout(20)
            control.connect(self.control)
            control.sendall(text.encode() + b"\n")
            answer = control.recv(4096).decode().strip()
        if answer != "ok":
            raise RigError("%s: %s" % (text, answer))

    def gone(self):
        return Gone(self.control)

    def commands(self):
        """What the frame has been sent so far, as (block, direction, length, status)."""
        with open(self.trace) as file:
            return [tuple(line.split()) for line in file]

    def close(self):
        self.process.terminate()
        self.process.wait()
        self.log.close()


class Machine:
    """Boots at once, with frames by host controller; run() runs a shell script in it."""

    def __init__(self, kernel, initrd, frames, folder):
        self.folder, self.number = folder, 0
        self.place = ""  # the folder below the shared one in which scripts run
        self.share = os.path.join(folder, "share")
        os.makedirs(self.share)
        channel = socket.socket(socket.AF_UNIX)
        path = os.path.join(folder, "channel.sock")
        channel.bind(path)
        channel.listen(1)
        command = ["qemu-system-x86_64", "-M", BOARD, "-accel", "tcg,thread=single", "-cpu", "qemu64", "-smp", "1",
                   "-m", "384", "-nodefaults", "-no-user-config", "-display", "none", "-no-reboot",
                   "-monitor", "none", "-serial", "file:" + os.path.join(folder, "console.log"),
                   "-chardev", "socket,id=channel,path=" + path, "-serial", "chardev:channel",
                   "-kernel", kernel, "-initrd", initrd,
                   "-append", KERNEL_OPTIONS,
                   "-virtfs", "local,path=/,mount_tag=host,security_model=none,readonly=on,multidevs=remap",
                   "-virtfs", "local,path=%s,mount_tag=share,security_model=none" % self.share]
        for controller in frames:
            command += ["-device", "%s,id=%s" % (HOST_CONTROLLERS[controller], controller)]
            for number, frame in enumerate(frames[controller]):
                name = controller + str(number)
                command += ["-chardev", "socket,id=%s,path=%s" % (name, frame.socket),
                            "-device", "usb-redir,chardev=%s,bus=%s.0" % (name, controller)]
        self.log = open(os.path.join(folder, "qemu.log"), "wb")
        self.process = subprocess.Popen(command, stdin=subprocess.DEVNULL, stdout=self.log, stderr=self.log)
        channel.settimeout(BOOT_SECONDS)
        try:
            self.channel, _ = channel.accept()
        except OSError as error:
            raise RigError("the machine does not start: %s; see %s" % (error, self.log.name))
        finally:
            channel.close()
        self.received = b""
        self._wait_for("ready", BOOT_SECONDS)

    def _wait_for(self, word, seconds):
        """What the machine says after the word."""
        end = time.monotonic() + seconds
        while True:
            line, separator, rest = self.received.partition(b"\n")
            if separator:
                self.received = rest
                line = line.strip().decode(errors="replace") + " "
                if line.startswith(word + " "):
                    return line[len(word):].strip()
                continue
            left = end - time.monotonic()
            if left <= 0 or not select.select([self.channel], [], [], left)[0]:
                raise RigError("the machine says nothing (waiting for %r); see %s" % (word, self.folder))
            got = self.channel.recv(4096)
            if not got:
                raise RigError("the machine has ended (waiting for %r); see %s" % (word, self.folder))
            self.received += got

    def begin(self, script):
        """Starts a script; its number is for finish()."""
        self.number += 1
        with open(os.path.join(self.share, "%d.sh" % self.number), "w") as file:
            file.write(script + "\n")
        self.channel.sendall(("run %d %s\n" % (self.number, self.place)).encode())
        return self.number

    def finish(self, number, seconds=60):
        """(exit status, standard output, standard error)"""
        status = int(self._wait_for("done %d" % number, seconds))
        def text(ending):
            with open(os.path.join(self.share, "%d.%s" % (number, ending)), errors="replace") as file:
                return file.read()
        return status, text("out"), text("err")

    def run(self, script, seconds=60):
        return self.finish(self.begin(script), seconds)

    def close(self):
        self.channel.close()
        self.process.terminate()
        self.process.wait()
        self.log.close()
