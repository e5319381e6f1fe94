// The 16-byte vendor command blocks that carry SPI flash instructions to the frame.
//
//   0      vendor opcode
//   5, 6   both 5 in the checksum command; else 0 and the number of instruction bytes from byte 10 on
//   7-9    length of the data phase, big-endian; in the checksum command 7-8 are the length of the region
//   10     SPI instruction
//   11-13  flash address, big-endian; byte 11 alone is the value of a status register write
//   15     option bits
//
// No state; callable from any thread.
#pragma once

#include <array>
#include <cstdint>

#include "base/bytes.h"

namespace lumato::flash {

using CommandBlock = std::array<std::uint8_t, 16>;

inline constexpr std::uint8_t kOpcodeSetClock = 0xCA;
inline constexpr std::uint8_t kOpcodeOut = 0xCB;  // SPI instruction with data to the frame, or without data
inline constexpr std::uint8_t kOpcodeIn = 0xCD;   // SPI instruction with data from the frame

inline constexpr std::uint8_t kChecksumMark = 5;

// SPI NOR instructions.
inline constexpr std::uint8_t kWriteStatus = 0x01;
inline constexpr std::uint8_t kPageProgram = 0x02;
inline constexpr std::uint8_t kRead = 0x03;
inline constexpr std::uint8_t kReadStatus = 0x05;
inline constexpr std::uint8_t kWriteEnable = 0x06;

// Bytes that an erase instruction erases (SPI NOR data sheets); 0 for one that we do not know.
[[nodiscard]] constexpr std::uint32_t EraseUnitOf(std::uint8_t instruction) {
    switch (instruction) {
        case 0x20:
            return 4096;
        case 0x52:
            return 32768;
        case 0xD8:
            return 65536;
        default:
            return 0;
    }
}

inline CommandBlock SpiBlock(std::uint8_t opcode, std::uint8_t instructionBytes, std::uint8_t instruction) {
    CommandBlock block{};
    block[0] = opcode;
    block[6] = instructionBytes;
    block[10] = instruction;
    return block;
}

// An instruction with an address: one instruction byte and three address bytes.
inline CommandBlock AddressedBlock(std::uint8_t opcode, std::uint8_t instruction, std::uint32_t length,
                                   std::uint32_t address) {
    CommandBlock block = SpiBlock(opcode, 4, instruction);
    PutBe24(MutableByteSpan(block).subspan(7), length);
    PutBe24(MutableByteSpan(block).subspan(11), address);
    return block;
}

}  // namespace lumato::flash
