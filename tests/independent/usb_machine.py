"""The machine at the other end of the virtual cable: packets of usbredir, bulk-only transport in them, and the frame's
commands in that.
"""
import contextlib
import socket
import struct

HELLO, CONNECT, DISCONNECT, RESET, CONFIGURATION, CANCEL, ACKNOWLEDGED, CONTROL, BULK = 0, 1, 2, 3, 7, 21, 24, 100, 101
GOOD, CHECK, PHASE_ERROR, TAG = 0, 1, 2, 0x12345678
HALT = "halt"
ENABLE, UNLOCK = "CB00000000 00 01 000000 06", "CB00000000 00 02 000000 01"


def packet(kind, body=b"", number=0):
    """As it goes over the wire, with ids of 32 bits: whoever greets with no capability has them."""
    return struct.pack("<III", kind, len(body), number) + body


def hello():
    return packet(HELLO, b"x" * 64 + bytes(4))


def control_packet(number, kind, request, value=0, index=0, length=0):
    return packet(CONTROL, struct.pack("<BBBBHHH", kind & 0x80, request, kind, 0, value, index, length), number)


def bulk_in(number, length):
    return packet(BULK, struct.pack("<BBHI", 0x82, 0, length, 0), number)


def bulk_out(number, data):
    return packet(BULK, struct.pack("<BBHI", 0x01, 0, len(data), 0) + data, number)


def wrapper(block, length=0, to_host=False):
    return struct.pack("<4sIIBBB", b"USBC", TAG, length, to_host << 7, 0, len(block)) + block.ljust(16, b"\0")


def connect(path):
    end = socket.socket(socket.AF_UNIX)
    end.settimeout(5)
    end.connect(path)
    return end


def await_end(end):
    with end, contextlib.suppress(ConnectionResetError):
        while end.recv(4096):
            pass


def of_process(pid, what):
    """The first word that the system says of it: "VmRSS", "SigCgt"."""
    with open("/proc/%d/status" % pid) as file:
        return next(line.split()[1] for line in file if line.startswith(what + ":"))


class Machine:
    """One that has greeted, and drives the frame command by command."""

    def __init__(self, path):
        self.socket, self.number = connect(path), 0
        self.socket.sendall(hello())
        self.greeting = [self.receive() for _ in range(4)]

    def receive(self):
        kind, length, number = struct.unpack("<III", self.socket.recv(12, socket.MSG_WAITALL))
        return kind, number, self.socket.recv(length, socket.MSG_WAITALL) if length else b""

    def ask(self, bytes_, count):
        self.socket.sendall(bytes_)
        return [self.receive() for _ in range(count)]

    def control(self, kind, request, index=0):
        self.ask(control_packet(0, kind, request, index=index), 1)

    def clear_halt(self):
        self.control(0x02, 0x01, 0x82)

    def reset(self):
        self.control(0x21, 0xFF)

    def take(self, data):
        """Whether the frame takes these."""
        return self.ask(bulk_out(1, data), 1)[0][2][1] == 0

    def give(self, length):
        """What the frame answers: bytes, a halt, or nothing (None)."""
        answer, *rest = self.ask(bulk_in(1, length) + control_packet(2, 0x80, 0, length=2), 1)
        if answer[1] == 2:
            self.ask(packet(CANCEL, number=1), 1)
            return None
        assert answer[1] == 1, answer
        self.receive()
        return HALT if answer[2][1] else answer[2][8:]

    def status(self):
        """(status, residue), or None."""
        answer = self.give(13)
        if answer in (None, HALT):
            return answer
        signature, tag, residue, status = struct.unpack("<4sIIB", answer)
        assert (signature, tag) == (b"USBS", TAG), answer
        return status, residue

    def command(self, block, length=0, data=b""):
        """`block` in hex. (status, what came); the residue stays readable."""
        assert self.take(wrapper(bytes.fromhex(block), length or len(data), length > 0))
        if data:
            self.take(data)
        came = self.give(length) if length else b""
        if came == HALT:
            self.clear_halt()
            came = b""
        status, self.residue = self.status()
        return status, came

    # -------------------------------------------------------------------------------- vendor commands
    def vendor(self, block, length=0, data=b""):
        return self.command(block.replace(" ", "").ljust(32, "0"), length, data)

    def prepare(self):
        """What precedes every erase and program of a host."""
        for block in (ENABLE, UNLOCK, ENABLE):
            self.vendor(block)

    def erase(self, instruction, address):
        return self.vendor("CB00000000 00 04 000000 %02X %06X" % (instruction, address))[0]

    def program(self, address, data):
        return self.vendor("CB00000000 00 04 %06X 02 %06X" % (len(data), address), data=bytes(data))[0]

    def read(self, address, length):
        return self.vendor("CD00000000 00 04 %06X 03 %06X" % (length, address), length)

    def sum(self, address, length):
        status, answer = self.vendor("CD00000000 05 05 %04X 00 00 %06X" % (length & 0xFFFF, address), 64)
        return int.from_bytes(answer[:2], "big") if status == GOOD else None

    def register(self):
        return self.vendor("CD00000000 00 01 000040 05", 64)[1][0]

    def write_register(self, value):
        return self.vendor("CB00000000 00 02 000000 01 %02X" % value)[0]

    def sense(self):
        answer = self.command("030000001200", 18)[1]
        return "%X/%02X/%02X" % (answer[2], answer[12], answer[13])
