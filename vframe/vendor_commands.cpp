#include "vframe/vendor_commands.h"

#include <algorithm>

namespace lumato::vframe {
namespace {

using platform::Direction;
using platform::ScsiRequest;

constexpr std::uint8_t kOut = 0xCB;
constexpr std::uint8_t kIn = 0xCD;
constexpr std::uint8_t kSetClock = 0xCA;
constexpr std::size_t kBlockSize = 16;
constexpr std::size_t kAnswerSize = 64;     // of the two status-type commands
constexpr std::uint8_t kChecksumMark = 5;   // in bytes 5 and 6 of the checksum command
constexpr std::uint8_t kPageOption = 0x02;  // in byte 15 of a page program

enum class Shape { Bare, Value, Address, Program, Status, Read };

struct Instruction {
    std::uint8_t opcode;
    std::uint8_t code;
    std::uint8_t byteCount;  // what byte 6 must say
    Shape shape;
    std::size_t eraseUnit;
};

constexpr Instruction kInstructions[] = {
    {kOut, 0x06, 1, Shape::Bare, 0},        // write enable
    {kOut, 0x01, 2, Shape::Value, 0},       // write status register
    {kOut, 0x20, 4, Shape::Address, 4096},  // erases
    {kOut, 0x52, 4, Shape::Address, 32768}, {kOut, 0xD8, 4, Shape::Address, 65536},
    {kOut, 0x02, 4, Shape::Program, 0},     {kIn, 0x05, 1, Shape::Status, 0},  // read status register
    {kIn, 0x03, 4, Shape::Read, 0},
};

const Instruction* Find(ByteSpan block) {
    const auto* found =
        std::find_if(std::begin(kInstructions), std::end(kInstructions), [&](const Instruction& instruction) {
            return instruction.opcode == block[0] && instruction.code == block[10];
        });
    return found == std::end(kInstructions) ? nullptr : found;
}

bool AllZero(ByteSpan bytes) {
    return std::all_of(bytes.begin(), bytes.end(), [](std::uint8_t byte) { return byte == 0; });
}

bool HasDataPhase(const ScsiRequest& request) {
    return request.direction != Direction::None && !request.data.empty();
}

std::uint32_t Address(ByteSpan block) {
    return GetBe24(block.subspan(11));
}

bool IsChecksum(ByteSpan block) {
    return block[0] == kIn && block[5] == kChecksumMark;
}

// The data phase that the length field announces is the one that takes place.
bool LengthAgrees(const ScsiRequest& request, Shape shape) {
    const std::size_t length = GetBe24(request.block.subspan(7));
    switch (shape) {
        case Shape::Program:
            return request.direction == Direction::Out && length != 0 && length == request.data.size();
        case Shape::Read:
            return request.direction == Direction::In && length != 0 && length == request.data.size();
        case Shape::Status:
            return request.direction == Direction::In && length == kAnswerSize &&
                   length == request.data.size();
        default:
            return length == 0 && !HasDataPhase(request);
    }
}

// Every byte that means nothing for this shape is zero.
bool UnusedAreZero(ByteSpan block, Shape shape) {
    const bool optionKnown = block[15] == 0 || (shape == Shape::Program && block[15] == kPageOption);
    const std::size_t operandBytes = shape == Shape::Bare || shape == Shape::Status ? 0
                                     : shape == Shape::Value                        ? 1
                                                                                    : 3;
    return AllZero(block.subspan(1, 5)) && AllZero(block.subspan(11 + operandBytes, 4 - operandBytes)) &&
           optionKnown;
}

}  // namespace

bool VendorCommands::IsVendorOpcode(std::uint8_t opcode) {
    return opcode == kOut || opcode == kIn || opcode == kSetClock;
}

Reply VendorCommands::Execute(const ScsiRequest& request, Extent extent) {
    if (request.block.size() != kBlockSize)
        return Refuse(kInvalidField);
    if (request.block[0] == kSetClock)
        return SetClock(request);
    if (IsChecksum(request.block))
        return Checksum(request);
    return RunInstruction(request, extent);
}

Reply VendorCommands::SetClock(const ScsiRequest& request) {
    if (!AllZero(request.block.subspan(1, 4)) || HasDataPhase(request))
        return Refuse(kInvalidField);
    return 0;
}

Reply VendorCommands::Checksum(const ScsiRequest& request) {
    const ByteSpan block = request.block;
    const bool valid = AllZero(block.subspan(1, 4)) && block[6] == kChecksumMark && block[9] == 0 &&
                       block[10] == 0 && AllZero(block.subspan(14, 2)) &&
                       request.direction == Direction::In && request.data.size() == kAnswerSize;
    if (!valid)
        return Refuse(kInvalidField);
    // The field has 16 bits, and nobody asks for the sum of nothing: 0 is a whole 64 KB block.
    const std::size_t length = GetBe16(block.subspan(7));
    const auto sum = m_chip.Sum(Address(block), length == 0 ? 65536 : length);
    if (!sum)
        return Refuse(sum.error());
    std::fill(request.data.begin(), request.data.end(), std::uint8_t{0});
    PutBe16(request.data, *sum);
    return kAnswerSize;
}

Reply VendorCommands::RunInstruction(const ScsiRequest& request, Extent extent) {
    const auto* instruction = Find(request.block);
    if (instruction == nullptr)
        return Refuse(kUnknownCommand);
    if (request.block[6] != instruction->byteCount || !LengthAgrees(request, instruction->shape) ||
        !UnusedAreZero(request.block, instruction->shape))
        return Refuse(kInvalidField);
    switch (instruction->shape) {
        case Shape::Bare:
            m_chip.WriteEnable();
            return 0;
        case Shape::Value:
            m_chip.WriteStatus(request.block[11]);
            return 0;
        case Shape::Address: {
            const Reply erased = m_chip.Erase(instruction->eraseUnit, Address(request.block), extent);
            return erased ? Reply(0) : erased;
        }
        case Shape::Program:
            return Program(request, extent);
        case Shape::Read:
            return m_chip.Read(Address(request.block), request.data);
        default:
            // A chip that is asked on repeats its register for as long as the clock runs.
            std::fill(request.data.begin(), request.data.end(), m_chip.Status());
            return request.data.size();
    }
}

Reply VendorCommands::Program(const ScsiRequest& request, Extent extent) {
    const ByteSpan data = request.data;
    return m_chip.Program(Address(request.block),
                          extent == Extent::Whole ? data : data.first(data.size() / 2));
}

std::size_t ErasedBytes(ByteSpan block) {
    const auto* instruction = block.size() == kBlockSize ? Find(block) : nullptr;
    return instruction == nullptr ? 0 : instruction->eraseUnit;
}

bool IsProgram(ByteSpan block) {
    const auto* instruction = block.size() == kBlockSize ? Find(block) : nullptr;
    return instruction != nullptr && instruction->shape == Shape::Program;
}

}  // namespace lumato::vframe
