"""A virtual machine with USB frames on its bus, and our own programs in it."""
import os
import select
import socket
import subprocess
import threading
import time

BOOT_SECONDS = 90
HOST_CONTROLLERS = {"xhci": "qemu-xhci", "ehci": "usb-ehci"}


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
    """Boots at once; run() runs a shell script in it."""

    def __init__(self, kernel, initrd, controller, frames, folder):
        self.folder, self.number = folder, 0
        self.share = os.path.join(folder, "share")
        os.makedirs(self.share)
        channel = socket.socket(socket.AF_UNIX)
        path = os.path.join(folder, "channel.sock")
        channel.bind(path)
        channel.listen(1)
        command = ["qemu-system-x86_64", "-M", "q35", "-accel", "tcg,thread=single", "-cpu", "qemu64", "-smp", "1",
                   "-m", "384", "-nodefaults", "-no-user-config", "-display", "none", "-no-reboot",
                   "-monitor", "none", "-serial", "file:" + os.path.join(folder, "console.log"),
                   "-chardev", "socket,id=channel,path=" + path, "-serial", "chardev:channel",
                   "-kernel", kernel, "-initrd", initrd,
                   "-append", "console=ttyS0 quiet panic=-1 mitigations=off",
                   "-virtfs", "local,path=/,mount_tag=host,security_model=none,readonly=on,multidevs=remap",
                   "-virtfs", "local,path=%s,mount_tag=share,security_model=none" % self.share,
                   "-device", HOST_CONTROLLERS[controller] + ",id=hc"]
        for number, frame in enumerate(frames):
            command += ["-chardev", "socket,id=frame%d,path=%s" % (number, frame.socket),
                        "-device", "usb-redir,chardev=frame%d,bus=hc.0" % number]
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
        end = time.monotonic() + seconds
        while True:
            line, separator, rest = self.received.partition(b"\n")
            if separator:
                self.received = rest
                if line.strip().decode(errors="replace") == word:
                    return
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
            file.write("export HOME=/root PATH=/usr/sbin:/usr/bin:/sbin:/bin LC_ALL=C.UTF-8 TZ=UTC\n" + script + "\n")
        self.channel.sendall(b"run %d\n" % self.number)
        return self.number

    def finish(self, number, seconds=60):
        """(exit status, standard output, standard error)"""
        self._wait_for("done %d" % number, seconds)
        def text(ending):
            with open(os.path.join(self.share, "%d.%s" % (number, ending)), errors="replace") as file:
                return file.read()
        return int(text("rc")), text("out"), text("err")

    def run(self, script, seconds=60):
        return self.finish(self.begin(script), seconds)

    def close(self):
        self.channel.close()
        self.process.terminate()
        self.process.wait()
        self.log.close()
