"""What a frame's flash must hold after an operation, and which commands lead there.

Frame is both: a strict SPI NOR chip (programming only clears bits, an erase covers its aligned unit) and the
host's whole sequence of commands, which it records as `lumatoctl --trace` writes them. Image in, image and
trace out:

    frame = Frame(image)
    frame.connect()
    frame.delete([2, 5])        or frame.delete_all(), or frame.move(3, 1)
    frame.add([stream, ...])
    frame.download()            frame.image, frame.trace
"""
import flash_reader
import stream_codec
from flash_reader import BLOCK, ERASE_UNITS, TABLE_SIZE, SLOTS

FIRST_BLOCK_ROOM = BLOCK - TABLE_SIZE
CLOCK = "CA00000000" + "*" * 22  # the time bytes differ from call to call


def mask_clock(lines):
    return [CLOCK + line[32:] if line.startswith("CA") else line for line in lines]


def checksum(data):
    return sum(data) & 0xFFFF


class TransferFailed(Exception):
    """Three attempts did not bring the data through."""


class Frame:
    def __init__(self, image, spare=0x00, decode=flash_reader.decodes):
        """`spare`: what rounds the last written block up to 1,024 bytes; nobody promises its value.
        `decode`(stream, width, height): whether a picture is readable."""
        self.image = bytearray(image)
        self.spare, self.decode = spare, decode
        self.trace = []
        self.table, self.pictures, self.stored = bytearray(TABLE_SIZE), [], 0

    # -------------------------------------------------------------------------------------- the link

    def _say(self, operation, option, size, length, instruction, address, direction="none", last=0):
        block = (bytes([operation, 0, 0, 0, 0, option, size]) + length + bytes([instruction])
                 + address.to_bytes(3, "big") + bytes([0, last]))
        moved = 64 if option else int.from_bytes(length, "big")
        self.trace.append("%s %s %d 00" % (block.hex().upper(), direction, moved))

    def _prepare(self):
        for size, instruction in ((1, 0x06), (2, 0x01), (1, 0x06)):
            self._say(0xCB, 0, size, bytes(3), instruction, 0)

    def _erase(self, address):
        instruction = self.info.erase_instruction
        unit = ERASE_UNITS[instruction]
        self._prepare()
        self._say(0xCB, 0, 4, bytes(3), instruction, address)
        begin = address // unit * unit
        self.image[begin:begin + unit] = b"\xFF" * unit

    def _program(self, address, data):
        self._prepare()
        self._say(0xCB, 0, 4, len(data).to_bytes(3, "big"), 0x02, address, "out",
                  0x02 if self.info.page_option else 0)
        old = int.from_bytes(self.image[address:address + len(data)], "big")
        self.image[address:address + len(data)] = (old & int.from_bytes(data, "big")).to_bytes(len(data), "big")

    def _read_unchecked(self, address, length):
        self._say(0xCD, 0, 4, length.to_bytes(3, "big"), 0x03, address, "in")
        self._say(0xCD, 0, 1, (64).to_bytes(3, "big"), 0x05, 0, "in")
        return bytes(self.image[address:address + length])

    def _check(self, address, data):
        self._say(0xCD, 5, 5, (len(data) & 0xFFFF).to_bytes(2, "big") + b"\0", 0, address, "in")
        return checksum(self.image[address:address + len(data)]) == checksum(data)

    def _read(self, address, length):
        data = self._read_unchecked(address, length)
        self._check(address, data)
        return data

    def _write(self, address, data):
        """At a block boundary the data alone; inside a block all of it that can be written, read first."""
        inside = address % BLOCK
        if inside:
            block = bytearray(self._read(address - inside, min(BLOCK, self.info.writable_end - address + inside)))
            block[inside:inside + len(data)] = data
            address, data = address - inside, bytes(block)
        unit = ERASE_UNITS[self.info.erase_instruction]
        for attempt in range(3):
            # A unit smaller than the data leaves old bits behind; the check tells, and then every unit goes.
            for unit_address in range(address, address + (len(data) if attempt else 1), unit):
                self._erase(unit_address)
            self._program(address, data)
            if self._check(address, data):
                return
        raise TransferFailed

    # -------------------------------------------------------------------------------------- connecting

    def connect(self):
        self.trace.append("120000004000 in 36 00")
        self.info = flash_reader.Information(self._start_information())
        if self.info.firmware_pointer is not None:
            self._read_unchecked(self.info.firmware_pointer - 512, 64)
        self.trace.append(CLOCK + " none 0 00")
        self.table = bytearray(self._read(self.info.table_address, TABLE_SIZE))
        if not flash_reader.table_is_valid(self.table):
            self.table = bytearray(flash_reader.make_table([]))
        self._read_back()
        return self

    def _start_information(self):
        self._read(0, 512)
        return bytes(self.image)

    def _read_back(self):
        self.pictures, slots = [], []
        for k in range(1, SLOTS + 1):
            status, address, length = flash_reader.slot(self.table, k)
            if status != 1:
                continue
            at = 16 + 8 * (k - 1)
            stream = None
            if self.info.table_address <= address and address + length <= self.info.flash_size:
                stream = self._read_picture(address, length)
            if stream is None or not self.decode(stream, self.info.lcd_width, self.info.lcd_height):
                self.table[at:at + 8] = bytes(8)
                continue
            self.pictures.append(stream)
            slots.append(bytes(self.table[at:at + 8]))
        self.stored = len(self.pictures)
        if self.pictures:
            # Slots 1 to r describe the r listed pictures, whatever odd slots stood between them.
            self.table[16:] = b"".join(slots).ljust(TABLE_SIZE - 16, b"\0")

    def _read_picture(self, address, length):
        stream = b""
        for start in range(address, address + length, BLOCK):
            wanted = min(address + length - start, BLOCK)
            rounded = min(-(-wanted // 64) * 64, self.info.flash_size - start)
            stream += self._read(start, rounded)[:wanted]
        return stream

    # -------------------------------------------------------------------------------------- the list

    def add(self, streams):
        self.pictures += streams

    def delete(self, positions):
        for position in sorted(set(positions), reverse=True):
            remaining = len(self.pictures) - 1
            self.table[16 + 8 * (position - 1)] = 0
            if position <= remaining:
                self._compact(remaining)
            del self.pictures[position - 1]
            self.stored -= position <= self.stored

    def move(self, origin, target):
        """Among stored pictures: the pictures stay where they lie."""
        slots = [bytes(self.table[at:at + 8]) for at in range(16, 16 + 8 * self.stored, 8)]
        for places in (self.pictures, slots):
            places.insert(target - 1, places.pop(origin - 1))
        self.table[16:16 + 8 * self.stored] = b"".join(slots)

    def delete_all(self):
        self.pictures, self.stored = [], 0
        self.table[16:] = bytes(TABLE_SIZE - 16)

    def _compact(self, count):
        used = [bytes(self.table[at:at + 8]) for at in range(16, TABLE_SIZE, 8) if 1 <= self.table[at] <= 254]
        self.table[16:] = b"".join(used[:count]).ljust(TABLE_SIZE - 16, b"\0")

    # -------------------------------------------------------------------------------------- download

    def plan(self):
        """(first new position or 0, where the new data begin, whether everything is rewritten)."""
        area = self.info.table_address + TABLE_SIZE
        if self.stored == len(self.pictures):
            return 0, area, False
        if self.stored == 0:
            return 1, area, False
        ends = [address + length for status, address, length in
                (flash_reader.slot(self.table, k) for k in range(1, SLOTS + 1)) if status == 1]
        start = max(ends[:self.stored] + [area])
        if start + sum(map(len, self.pictures[self.stored:])) > self.info.writable_end:
            return 1, area, True
        return self.stored + 1, start, False

    def download(self):
        table_address = self.info.table_address
        first, start, _ = self.plan()
        self._invalidate_table()
        if not first:
            block = self._read(table_address, BLOCK)
            self._write_table(bytearray(block))
            return self
        data = b"".join(self.pictures[first - 1:])
        self._fill_slots(first, start)
        if start == table_address + TABLE_SIZE:
            block = bytearray(b"\xFF" * BLOCK)
        else:
            block = bytearray(self._read(table_address, BLOCK))
        copied = max(0, min(table_address + BLOCK - start, len(data)))
        block[start - table_address:start - table_address + copied] = data[:copied]
        self._write_rest(start + copied, data[copied:])
        self._write_table(block)
        self.stored = len(self.pictures)
        return self

    def _invalidate_table(self):
        block = bytearray(self._read(self.info.table_address, BLOCK))
        block[15:4095] = bytes(4080)
        self._erase(self.info.table_address)
        self._program(self.info.table_address, bytes(block))

    def _fill_slots(self, first, address):
        for position, stream in enumerate(self.pictures[first - 1:], first):
            at = 16 + 8 * (position - 1)
            self.table[at:at + 8] = (b"\x01" + address.to_bytes(3, "little") + b"\0"
                                     + len(stream).to_bytes(3, "little"))
            address += len(stream)

    def _write_rest(self, start, data):
        if not data:
            return
        if start % BLOCK:
            head = BLOCK - start % BLOCK
            self._write(start, data[:head])
            start, data = start + min(head, len(data)), data[head:]
        blocks = -(-len(data) // BLOCK)
        for j in range(blocks):
            part = data[j * BLOCK:(j + 1) * BLOCK]
            if j == blocks - 1:
                part = part.ljust(-(-len(part) // 1024) * 1024, bytes([self.spare]))
            self._write(start + j * BLOCK, part)

    def _write_table(self, block):
        block[:TABLE_SIZE] = self.table
        block[4094:4096] = b"\x55\xAA"
        self.table[4094:] = b"\x55\xAA"
        self._write(self.info.table_address, bytes(block))


def free_bytes(frame):
    area = max(0, frame.info.writable_end - frame.info.table_address - TABLE_SIZE)
    return max(0, area - sum(map(len, frame.pictures)))


def predicted_add(frame, bitmap, quality):
    """(stream, quality) of one picture as the budget has it, or None when it is refused. `quality` is the one
    last used; only a frame with a limit starts at its own."""
    info, count = frame.info, len(frame.pictures) + 1
    if count > (min(509, info.picture_limit) or 509):
        return None
    budget = room = free_bytes(frame)
    if info.picture_limit:
        quality = info.quality
        budget = room // (info.picture_limit - count) if info.picture_limit > count else room
    while True:
        stream = stream_codec.encode(bitmap, info.lcd_width, info.lcd_height, quality, info.sampling)
        if len(stream) <= budget:
            return stream, quality
        quality -= 10
        if not info.picture_limit or quality <= 0:
            return None
