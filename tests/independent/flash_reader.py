"""Reads the raw flash image of a virtual frame with eyes of its own, and crafts images for tests.

Layout: device information block at 0 (little-endian fields), picture table of 4,096 bytes at a 64 KB
boundary, pictures behind it.
"""
import functools
import struct

import stream_codec

BLOCK, TABLE_SIZE, SLOTS = 65536, 4096, 510
ERASE_UNITS = {0x20: 4096, 0x52: 32768, 0xD8: 65536}


def u24(data, at):
    return int.from_bytes(data[at:at + 3], "little")


class Information:
    """What the device information block says, firmware header followed."""

    def __init__(self, image):
        self.lcd_width, self.lcd_height = struct.unpack_from("<HH", image, 35)
        self.erase_instruction, self.page_option = image[39], image[40]
        self.flash_size = u24(image, 43)
        self.picture_limit, self.sampling, self.quality = struct.unpack_from("<HBB", image, 46)
        self.table_address = u24(image, 32)
        self.firmware_pointer = None
        if image[256:260] == b"DPFH" and sum(image[256:261]) & 0xFF == 0:
            self.firmware_pointer = u24(image, 261)
            end = u24(image, self.firmware_pointer - 512 + 11)
            self.table_address = -(-end // BLOCK) * BLOCK

    @property
    def writable_end(self):
        """Where the erase units end that the flash holds whole and that do not hold the firmware's record."""
        unit = ERASE_UNITS.get(self.erase_instruction)
        if unit is None:
            return self.table_address
        record = (self.firmware_pointer or 0) - 512
        return min(self.flash_size, record if record > self.table_address else self.flash_size) // unit * unit


def table_of(image):
    at = Information(image).table_address
    return bytes(image[at:at + TABLE_SIZE])


def table_is_valid(table):
    return table[:4] == b"ABFS" and table[4094:] == b"\x55\xAA"


def slot(table, k):
    """(status, address, length) of slot k, from 1."""
    at = 16 + 8 * (k - 1)
    return table[at], u24(table, at + 1), u24(table, at + 5)


@functools.lru_cache(4096)
def decodes(stream, width, height):
    try:
        stream_codec.decode(stream, (width, height))
        return True
    except stream_codec.Refused:
        return False


def streams_of(image):
    """The bytes of every slot in use, whatever its status, in slot order; none when the table is not valid."""
    table = table_of(image)
    slots = [slot(table, k) for k in range(1, SLOTS + 1 if table_is_valid(table) else 1)]
    return [bytes(image[address:address + length]) for status, address, length in slots if status]


# ------------------------------------------------------------------------------------------ crafting

@functools.lru_cache()
def firmware(size):
    return bytes(i * 7 + (i >> 8) & 0xFF for i in range(size))


def make_image(lcd=(48, 32), flash_size=0x40000, table=0x10000, limit=0, sampling=4, quality=90, erase=0xD8,
               page_option=0, firmware_end=None, pointer=0x3000, told_size=None):
    """A fresh frame: firmware area of changing bytes, everything from the table on erased."""
    image = bytearray(b"\xFF" * flash_size)
    image[:min(table, flash_size)] = firmware(min(table, flash_size))
    image[0:512] = bytes(512)
    image[32:35] = table.to_bytes(3, "little")
    struct.pack_into("<HHBB", image, 35, *lcd, erase, page_option)
    image[43:46] = ((told_size or flash_size) & 0xFFFFFF).to_bytes(3, "little")
    struct.pack_into("<HBB", image, 46, limit, sampling, quality)
    if firmware_end is not None:
        image[256:264] = b"DPFH\xDE" + pointer.to_bytes(3, "little")
        image[pointer - 512 + 11:pointer - 512 + 14] = firmware_end.to_bytes(3, "little")
    return image


def make_table(slots, signature=b"ABFS", header=bytes(12), end_mark=b"\x55\xAA"):
    """A table of (status, address, length) slots, from slot 1 on; None leaves a slot zero."""
    table = bytearray(signature + header).ljust(TABLE_SIZE, b"\0")
    table[4094:] = end_mark
    for k, entry in enumerate(slots):
        if entry is not None:
            status, address, length = entry
            table[16 + 8 * k:24 + 8 * k] = struct.pack("<B3sB3s", status, address.to_bytes(3, "little"), 0,
                                                       length.to_bytes(3, "little"))
    return bytes(table)


def put_table(image, table):
    at = Information(image).table_address
    image[at:at + TABLE_SIZE] = table


def put_picture(image, address, stream):
    """Writes the bytes alone and gives the slot that describes them."""
    image[address:address + len(stream)] = stream
    return 1, address, len(stream)


def put_pictures(image, streams, header=bytes(12)):
    """The pictures back to back behind the table, and the table that lists them."""
    address, slots = Information(image).table_address + TABLE_SIZE, []
    for stream in streams:
        slots.append(put_picture(image, address, stream))
        address += len(stream)
    put_table(image, make_table(slots, header=header))
    return image
