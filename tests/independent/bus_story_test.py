"""A frame on a USB bus, as the machine at the other end of the virtual cable sees it (usb_machine.py): what its chip's data
sheet forbids, what is not in its tables, the disk that a kernel sees, faults on order, and machines that mean harm.

    python3 bus_story_test.py LUMATOCTL [unittest arguments]
"""
import os
import resource
import select
import signal
import socket
import subprocess
import time
import unittest

import story
from story import Story
from usb_machine import (ACKNOWLEDGED, CANCEL, CHECK, CONFIGURATION, CONNECT, DISCONNECT, ENABLE, GOOD, HALT, PHASE_ERROR, RESET,
                         Machine, await_end, bulk_in, bulk_out, connect, control_packet, hello, of_process, packet, wrapper)

SMALLEST = 0x20000
PATTERN = bytes((i * 7 + i // 256) % 251 for i in range(SMALLEST))  # differs from byte to byte, and nothing is erased
INQUIRY = "12 00000024 00"
FLOOD, FLOOD_KILOBYTES = 8 << 20, 2 << 10  # that are sent, and that may be held


class Bus(Story):
    def setUp(self):
        super().setUp()
        self.bus, self.control = self.path("bus"), self.path("control")
        self.server = self.machine = None

    def tearDown(self):
        if self.server:
            self.stop()
        super().tearDown()

    def serve(self, image=PATTERN, *options, limit=None):
        """A machine that has the frame; with `limit` no file may grow beyond that."""
        def before():
            if limit:
                signal.signal(signal.SIGXFSZ, signal.SIG_IGN)
                resource.setrlimit(resource.RLIMIT_FSIZE, (limit, limit))
        self.put_frame(image)
        environment = self.environment()
        # What is freed counts as free there, too.
        environment["ASAN_OPTIONS"] = environment.get("ASAN_OPTIONS", "") + ":quarantine_size_mb=1"
        self.server = subprocess.Popen(
            [story.PROGRAM, *options, "frame", "serve", self.frame, "--socket", self.bus, "--control", self.control],
            env=environment, stderr=subprocess.PIPE, preexec_fn=before)
        self.server.stderr.readline()
        self.machine = Machine(self.bus)
        return self.machine

    def stop(self):
        """In good order, whoever is still there; what it said."""
        server, self.server = self.server, None
        self.machine.socket.close()
        server.terminate()
        said = server.communicate(timeout=5)[1].decode()
        self.assertEqual((server.returncode, os.path.exists(self.bus)), (0, False), said)
        return said

    def order(self, text):
        with connect(self.control) as orders:
            orders.sendall(text.encode() + b"\n")
            return orders.recv(200).decode()

    def anew(self, image=PATTERN):
        """The frame with another flash, and a machine that has just got it."""
        self.machine.socket.close()
        self.assertEqual(self.order("unplug"), "ok\n")
        self.put_frame(image)
        self.assertEqual(self.order("plug"), "ok\n")
        self.machine = Machine(self.bus)
        return self.machine

    def faulty(self, kind):
        """With the latch set, and the next vendor command going wrong."""
        machine = self.anew()
        machine.prepare()
        self.assertEqual(self.order("fault 1:" + kind), "ok\n")
        return machine

    def assert_changed(self, begin, length, byte, before=PATTERN):
        self.assert_same_bytes(self.image(), before[:begin] + bytes([byte]) * length + before[begin + length:])


class Chip(Bus):
    def test_every_change_consumes_the_latch(self):
        frame = self.serve()
        frame.prepare()
        self.assertEqual(frame.register(), 0x02)
        frame.erase(0x20, 0)
        self.assertEqual(frame.register(), 0)
        self.assertEqual([frame.program(0, [0]), frame.erase(0x20, 4096), frame.write_register(0x1C)], [GOOD] * 3,
                         "the bridge does not notice what the chip ignores")
        self.assertEqual(frame.register(), 0)
        self.assert_changed(0, 4096, 0xFF)
        for change in (lambda: frame.program(0, [0]), lambda: frame.write_register(0)):
            frame.vendor(ENABLE)
            change()
            self.assertEqual(frame.register(), 0)

    def test_protection(self):
        frame = self.serve()
        self.assertEqual(frame.register(), 0x1C)
        frame.vendor(ENABLE)
        self.assertEqual(frame.erase(0xD8, 65536), GOOD)
        frame.vendor(ENABLE)
        self.assertEqual(frame.program(0, [0]), GOOD)
        frame.write_register(0)  # without the latch, which the program has consumed
        self.assertEqual(frame.register(), 0x1C)
        self.assert_same_bytes(self.image(), PATTERN)
        frame.vendor(ENABLE)
        frame.write_register(0x18 | 0x03)  # the upper half; busy and latch cannot be written
        self.assertEqual(frame.register(), 0x18)
        for change in (lambda: frame.erase(0x20, 65536), lambda: frame.program(65535, [0, 0]), lambda: frame.erase(0x20, 61440)):
            frame.vendor(ENABLE)
            change()
        self.assert_changed(61440, 4096, 0xFF)

    def test_its_end(self):
        """Reads and sums wrap there; what would change something behind it never reaches the chip."""
        frame, wrapped = self.serve(), PATTERN[-2:] + PATTERN[:2]
        for address in (SMALLEST - 2, 2 * SMALLEST - 2):
            self.assertEqual(frame.read(address, 4), (GOOD, wrapped))
        self.assertEqual([frame.sum(SMALLEST - 2, 4), frame.sum(65536, 65536), frame.sum(100, 1)],
                         [sum(wrapped), sum(PATTERN[65536:]) & 0xFFFF, PATTERN[100]])
        frame.prepare()
        self.assertEqual((frame.program(SMALLEST - 1, [0, 0]), frame.sense()), (CHECK, "5/21/00"))
        self.assertEqual([frame.erase(0x20, SMALLEST), frame.erase(0xD8, 0xFFFFFF)], [CHECK] * 2)
        self.assert_same_bytes(self.image(), PATTERN)
        self.assertEqual((frame.register(), frame.program(SMALLEST - 1, [0])), (0x02, GOOD))
        self.assert_changed(SMALLEST - 1, 1, 0)
        frame = self.anew(PATTERN + bytes(4096))  # a unit that only begins on it
        frame.prepare()
        self.assertEqual([frame.erase(0xD8, SMALLEST), frame.erase(0x20, SMALLEST)], [CHECK, GOOD])

    def test_what_is_not_in_the_table(self):
        rows = [  # what, block, bytes that come, bytes that go, sense
            ("unknown opcode", "CC0000000000010000000600", 0, 0, "5/20/00"),
            ("chip erase", "CB000000000001000000C700", 0, 0, "5/20/00"),
            ("read as a write", "CB0000000000040000400300", 0, 64, "5/20/00"),
            ("instruction bytes", "CB0000000000010000002000", 0, 0, "5/24/00"),
            ("length of write enable", "CB0000000000010000400600", 0, 64, "5/24/00"),
            ("erase with data", "CB0000000000040000002000", 0, 64, "5/24/00"),
            ("program the wrong way", "CB0000000000040000400200", 64, 0, "5/24/00"),
            ("program of another length", "CB00000000000400003F0200", 0, 64, "5/24/00"),
            ("program of nothing", "CB0000000000040000000200", 0, 0, "5/24/00"),
            ("unknown option", "CB000000000004000040020000000004", 0, 64, "5/24/00"),
            ("read of another length", "CD0000000000040000410300", 64, 0, "5/24/00"),
            ("short status", "CD0000000000010000020500", 2, 0, "5/24/00"),
            ("checksum without its count", "CD0000000005041000000000", 64, 0, "5/24/00"),
            ("checksum without byte 5", "CD0000000000051000000000", 64, 0, "5/20/00"),
            ("checksum with a short answer", "CD0000000005051000000000", 2, 0, "5/24/00"),
            ("reserved byte", "CB0001000000010000000600", 0, 0, "5/24/00"),
            ("clock with data", "CA0000000009", 0, 64, "5/24/00")]
        frame = self.serve()
        for what, block, comes, goes, sense in rows:
            with self.subTest(what=what):
                self.assertEqual(frame.vendor(block, comes, bytes(goes)), (CHECK, b""))
                self.assertEqual((frame.residue, frame.sense()), (comes or goes, sense))
                self.assertEqual(frame.sense(), "0/00/00", "it is reported once")
        self.assertEqual(frame.command("CB00000000000100000006")[0], CHECK, "a short block")
        self.assertEqual(frame.register(), 0x1C, "nothing of this reached the latch")
        self.assertEqual(frame.command("CA000000000914030305090000000D01")[0], GOOD)

    def test_an_image_that_cannot_be_written_or_read(self):
        frame = self.serve(PATTERN, "--verbose", limit=65536 + 1024)
        frame.prepare()
        self.assertEqual((frame.erase(0x20, 65536), frame.sense()), (CHECK, "3/0C/00"))
        frame.prepare()
        self.assertEqual(frame.erase(0x20, 4096), GOOD, "what can be written still is")
        self.assert_changed(65536, 1024, 0xFF, PATTERN[:4096] + b"\xFF" * 4096 + PATTERN[8192:])
        self.assertIn(self.frame, self.stop())
        frame = self.serve()
        os.truncate(self.frame, 65536)
        self.assertEqual(frame.read(65280, 256), (GOOD, PATTERN[65280:65536]))
        self.assertEqual((frame.read(65280, 512)[0], frame.sense()), (CHECK, "3/11/00"))
        frame.prepare()
        self.assertEqual([frame.sum(65536, 4096), frame.program(65536, [1, 2, 3])], [None, CHECK])
        self.assertEqual(os.path.getsize(self.frame), 65536)


class Disk(Bus):
    """As a kernel sees it: small and write-protected."""

    def blocks(self, first, count, length=512):
        return self.machine.command("28 00 %08X 00 %04X 00" % (first, count), length)[0]

    def test_what_a_kernel_asks(self):
        disk = self.serve()
        answer = disk.command("120000004000", 64)[1]
        self.assertEqual((answer, disk.residue), (bytes.fromhex("008002021F000000") + b"QUORVANEPhoto Frame     1.00", 28))
        self.assertEqual(disk.command("120000000500", 36)[1], answer[:5])
        self.assertEqual(disk.command("120180004000", 36)[0], CHECK, "vital product data")
        self.assertEqual(disk.command("1A003F000400", 4), (GOOD, bytes.fromhex("03008000")))
        self.assertEqual(disk.command("25" + "00" * 9, 8), (GOOD, bytes.fromhex("00000FFF00000200")))
        for block in ("000000000000", "1E0000000100", "1B0000000100"):
            self.assertEqual(disk.command(block)[0], GOOD, block)

    def test_what_it_refuses(self):
        disk = self.serve()
        self.assertEqual((disk.command("2A00 0000003F 00 0001 00", 0, bytes(512))[0], disk.sense()), (CHECK, "7/27/00"))
        self.assertEqual((disk.command("A0" + "00" * 8 + "080000", 512)[0], disk.sense()), (CHECK, "5/20/00"))
        self.assertEqual((self.blocks(4096, 1), disk.sense()), (CHECK, "5/21/00"))
        self.assertEqual([self.blocks(0xFFFFFFFF, 1), self.blocks(4095, 2, 1024)], [CHECK] * 2)
        self.assertEqual((self.blocks(0, 2), disk.sense()), (CHECK, "5/24/00"), "another length than that of the data phase")
        for block in ("28000000", "1200", "0300", "000000000000"):
            self.assertEqual(disk.command(block, 512)[0], CHECK, "a short block, or data that nobody fills")
        self.assertEqual([disk.command("0000")[0], self.blocks(4095, 1)], [CHECK, GOOD])


class Faults(Bus):
    def test_of_commands(self):
        self.serve()
        frame = self.faulty("lie")
        self.assertEqual(frame.erase(0x20, 0), GOOD)
        self.assert_same_bytes(self.image(), PATTERN)
        self.assertEqual(self.faulty("lie").read(128, 64), (GOOD, bytes(64)))
        frame = self.faulty("refuse")
        self.assertEqual(frame.erase(0x20, 0), CHECK)
        self.assert_same_bytes(self.image(), PATTERN)
        self.assertEqual(frame.erase(0x20, 0), GOOD, "only one command goes wrong")
        frame = self.faulty("lost")
        self.assertEqual((frame.erase(0x20, 0), frame.sense()), (CHECK, "5/24/00"), "a kernel that asks is told that it failed")
        self.assert_changed(0, 4096, 0xFF)
        self.assertEqual(self.faulty("half").erase(0x52, 40000), CHECK)
        self.assert_changed(32768, 16384, 0xFF)
        self.assertEqual(self.faulty("half").program(100, bytes(9)), CHECK)
        self.assert_changed(100, 4, 0)
        self.assertEqual(self.faulty("half").read(128, 64), (CHECK, PATTERN[128:160]))
        self.assertEqual(self.faulty("flip").read(0, 64), (GOOD, bytes([PATTERN[0] ^ 1]) + PATTERN[1:64]))
        self.assertEqual(self.faulty("flip").program(3, [0xFE, 0xFE]), GOOD)  # 0xFF and 0xFE have come
        self.assert_changed(4, 1, PATTERN[4] & 0xFE)

    def test_of_transport(self):
        """They count vendor commands from the order on."""
        frame = self.serve()
        self.order("fault 2:short")
        self.assertEqual((frame.read(0, 4), frame.residue), ((GOOD, PATTERN[:4]), 0))
        self.assertEqual(frame.command("000000000000")[0], GOOD)  # a kernel's TEST UNIT READY
        self.assertEqual((frame.read(0, 4), frame.residue), ((GOOD, PATTERN[:2]), 2))
        for fault, answer in (("residue", ((GOOD, PATTERN[:4]), 4)), ("phase", ((PHASE_ERROR, PATTERN[:4]), 0)),
                              ("flip", ((GOOD, bytes([PATTERN[0] ^ 1]) + PATTERN[1:4]), 0))):
            self.order("fault 1:" + fault)
            self.assertEqual((frame.read(0, 4), frame.residue), answer)
        read = wrapper(bytes.fromhex("CD0000000000040000040300000000".ljust(32, "0")), 4, True)
        self.order("fault 1:silent")
        self.assertEqual((frame.take(read), frame.give(4)), (True, None))
        frame.reset()
        self.assertEqual((frame.take(read), frame.give(4)), (True, PATTERN[:4]))

    def test_the_plug_is_pulled(self):
        """Before, in and after a command; it is traced to its end."""
        self.serve(PATTERN, "--trace", self.trace_file)
        erase, unit = "CB00000000000400000020".ljust(32, "0"), 4096
        for fault, block, erased, answered in (
                ("unplug CB00000000000400000020", erase, 0, False), ("unplug-in CB00000000000400000020", erase, unit // 2, False),
                ("unplug-after CB00000000000400000020", erase, unit, True),
                ("unplug-in 12", INQUIRY, 18, False), ("unplug-after 1200", INQUIRY, 36, True)):
            with self.subTest(fault=fault):
                frame = self.anew()
                frame.prepare()
                self.assertEqual(self.order("fault 1:" + fault), "ok\n")
                length = 36 if block == INQUIRY else 0
                frame.socket.sendall(bulk_out(1, wrapper(bytes.fromhex(block), length, length > 0)) + bulk_in(2, 36) * (length > 0)
                                     + bulk_in(3, 13))
                came = []
                while not came or came[-1][0] != DISCONNECT:
                    came.append(frame.receive())
                self.assertEqual([number for kind, number, body in came if number == 3], [3] * answered)
                self.assertEqual([len(body) - 8 for kind, number, body in came if number == 2], [erased] * (length > 0))
                self.assert_changed(0, erased * (length == 0), 0xFF)
                self.assertEqual(self.order("wait"), "ok\n")
                self.order("plug")
        lines = self.read("trace.txt").decode().splitlines()
        self.assertEqual([line.split()[1:] for line in lines if line.startswith("CB000000000004")][0], ["none", "0", "FF"])
        self.assertEqual(lines[-1], "120000002400 in 36 00")


class Machines(Bus):
    def test_data_and_status_come_in_pieces_of_any_size(self):
        frame = self.serve()
        read = wrapper(bytes.fromhex("CD000000000004000005030000000000"), 5, True)
        self.assertIsNone(frame.give(512), "nothing was asked")
        self.assertTrue(frame.take(read))
        self.assertEqual([frame.give(3), frame.give(3), frame.status(), frame.give(13)],
                         [PATTERN[:3], PATTERN[3:5], (GOOD, 0), None])
        self.assertEqual(frame.vendor(ENABLE)[0], GOOD)
        self.assertTrue(frame.take(wrapper(bytes.fromhex("CB000000000004000004020000000000"), 4)))
        self.assertIsNone(frame.give(13), "its data are still to come")
        self.assertEqual([frame.take(bytes(2)), frame.take(bytes(2)), frame.status()], [True, True, (GOOD, 0)])
        # The data fill the host's request, so that only a halt tells their end.
        for go_on, status in ((frame.clear_halt, (GOOD, 28)), (frame.reset, None)):
            self.assertTrue(frame.take(wrapper(bytes.fromhex(INQUIRY), 64, True)))
            self.assertEqual((len(frame.give(36)), frame.give(28), frame.give(13)), (36, HALT, HALT))
            go_on()
            self.assertEqual(frame.status(), status)

    def test_wrappers_that_cannot_be_halt_the_device_until_it_is_reset(self):
        frame = self.serve()
        good = wrapper(bytes.fromhex("CD000000000004000005030000000000"), 5, True)
        wrong = [bytes([good[at] ^ change if n == at else byte for n, byte in enumerate(good)]) for at, change in (
            (0, 1), (14, 1), (13, 1), (11, 0x7F))]  # signature, too long a block, no such unit, two gigabytes
        for bad in (good[:-1], bytes(512), *wrong):
            self.assertFalse(frame.take(bad))
            frame.clear_halt()
            self.assertEqual((frame.give(13), frame.take(good)), (HALT, False))
            frame.reset()
        self.assertEqual((frame.take(good), frame.give(5)), (True, PATTERN[:5]))

    def test_a_machine_asks_and_is_answered(self):
        """A command, its data asked for early, what is not there, an answer that nobody waits for any more, no wrapper."""
        machine, ready = self.serve(), wrapper(bytes(6))
        self.assertEqual([(kind, body.hex()) for kind, _, body in machine.greeting[1:3]], [
            (5, "0002" + 28 * "f" + "00ff02" + 26 * "f" + 128 * "0"), (4, machine.greeting[2][2].hex())])
        self.assertRegex(machine.greeting[2][2].hex(), "^010{70}08")
        self.assertEqual(machine.greeting[3][:1] + machine.greeting[3][2:], (CONNECT, bytes.fromhex("0200000009120100")))
        answers = machine.ask(
            control_packet(1, 0x80, 6, 0x100, length=8) + control_packet(2, 0x80, 6, 0x600, length=8)
            + control_packet(3, 0xA1, 0xFE, length=8) + bulk_in(4, 13) + bulk_out(5, ready) + bulk_in(6, 13)
            + packet(CANCEL, number=6) + bulk_out(7, bytes(31)) + packet(RESET) + bulk_out(8, ready), 8)
        # The device descriptor's first 8 bytes, no device qualifier, one unit.
        self.assertEqual(["%d %d %s" % (kind, number, body.hex()) for kind, number, body in answers], [
            "100 1 800680000001000008001201000200000040", "100 2 80068004000600000000", "100 3 80fea10000000000010000",
            "101 5 01001f0000000000", "101 4 82000d000000000055534253785634120000000000", "101 6 8201000000000000",
            "101 7 01041f0000000000", "101 8 01001f0000000000"])
        self.assertEqual(machine.status(), (GOOD, 0))
        machine.socket.sendall(bulk_in(9, 13) + packet(RESET))  # whoever waited does so no more
        self.assertEqual(machine.command("000000000000")[0], GOOD)

    def test_any_packet_in_any_order(self):
        """Every type there is, may come to be or is not, of every length that one of them has and of odd ones, from one
        who has greeted and from one who has not."""
        self.serve().socket.close()
        for kind in range(111):
            for length in (0, 1, 2, 3, 4, 6, 8, 9, 10, 17, 68, 200):
                for greeted in (b"", hello()):
                    some = packet(kind, bytes(length))
                    end = connect(self.bus)
                    end.sendall(greeted + some + hello() + some * 2)
                    end.shutdown(socket.SHUT_WR)
                    await_end(end)
        self.machine = Machine(self.bus)

    def test_clients_that_only_send_hold_nobody_up(self):
        """Whoever asks and does not listen holds nobody up and takes no memory; the server ends while he is still there."""
        for path, first, again in (
                (self.control, b"", b"dance\n"), (self.control, b"", b"fault short\nfault 1:loud\nfault 1:phase CG\n"),
                (self.control, b"", b"x" * 4096),  # a line that never ends
                (self.bus, hello(), control_packet(0, 0x80, 6, 0x100, length=18)), (self.bus, hello(), bulk_in(0, 36)),
                (self.bus, hello(), packet(CONFIGURATION)), (self.bus, hello(), packet(ACKNOWLEDGED))):
            with self.subTest(again=again[:20]):
                self.serve().socket.close()
                before, sent = int(of_process(self.server.pid, "VmRSS")), 0
                with connect(path) as flooder:
                    flooder.sendall(first)
                    flooder.setblocking(False)
                    some = again * (65536 // len(again))
                    while sent < FLOOD and select.select([], [flooder], [], 0.3)[1]:
                        try:
                            sent += flooder.send(some[sent % len(again):])
                        except OSError:  # turned away
                            break
                    self.assertEqual(self.order("plug")[:6], "error:")
                    self.assertLess(int(of_process(self.server.pid, "VmRSS")) - before, FLOOD_KILOBYTES)
                    self.stop()

    def test_a_server_that_waits_for_its_traces_reader_ends_when_told(self):
        os.mkfifo(self.trace_file)
        self.put_frame(PATTERN)
        with subprocess.Popen([story.PROGRAM, "--trace", self.trace_file, "frame", "serve", self.frame, "--socket", self.bus]
                              ) as server:
            while server.poll() is None and not int(of_process(server.pid, "SigCgt"), 16) >> signal.SIGTERM - 1 & 1:
                time.sleep(0.01)  # it cannot be told yet
            server.terminate()
            self.assertEqual(server.wait(10), 0)

    def test_sockets_in_use_are_left_alone(self):
        self.serve()
        for image, status in (("missing", 3), ("other", 1)):
            self.write("other", PATTERN)
            done = self.run_bare("frame", "serve", self.path(image), "--socket", self.bus)
            self.assertEqual(done.returncode, status, done.stderr)
        for _ in range(20):  # who comes while a machine has it is turned away
            await_end(connect(self.bus))
        self.assertEqual(self.machine.read(0, 4), (GOOD, PATTERN[:4]))
        # A machine that goes in the middle of a command leaves nothing of it to the next one.
        self.assertTrue(self.machine.take(wrapper(bytes.fromhex("CB000000000004000004020000000000"), 4)))
        self.machine.socket.close()
        self.order("wait no frame")
        self.machine = Machine(self.bus)
        self.assertEqual(self.machine.read(0, 4), (GOOD, PATTERN[:4]))


if __name__ == "__main__":
    story.take_files(__doc__)
    unittest.main()
