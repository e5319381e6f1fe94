// The input is a sequence of commands: how it is executed, direction, length of the data phase, block.
#include "fuzz/input.h"
#include "fuzz/sound_frame.h"
#include "fuzz/targets.h"
#include "vframe/vendor_commands.h"
#include "vframe/virtual_frame.h"

namespace lumato::fuzz {
namespace {

using platform::Direction;

struct Command {
    std::uint8_t how = 0;
    Direction direction = Direction::None;
    Bytes block;
    Bytes data;
};

Command NextCommand(Input& input) {
    Command command;
    command.how = input.Byte();
    command.direction = static_cast<Direction>(command.how % 3);
    const std::size_t length = input.Byte() * (command.how & 0x80 ? 256U : 1U);
    const std::size_t blockLength = (command.how & 0x40) != 0 ? input.Byte() % 17U : 16U;
    const ByteSpan block = input.Take(blockLength);
    command.block.assign(block.begin(), block.end());
    command.data.assign(length, input.Byte());
    return command;
}

platform::ScsiOutcome Execute(vframe::VirtualFrame& frame, Command& command) {
    const platform::ScsiRequest request{
        .block = command.block,
        .direction = command.direction,
        .data = command.direction == Direction::None ? MutableByteSpan() : MutableByteSpan(command.data)};
    switch (command.how >> 2 & 7) {
        case 0:
            return frame.ExecuteHalf(request);
        case 1:
            return frame.ReportFailure();
        default:
            return frame.Execute(request);
    }
}

void CheckFlash(const Bytes& before, const Bytes& after, ByteSpan block) {
    Demand(after.size() == kFlashSize, "a flash keeps its size");
    if (vframe::ErasedBytes(block) != 0 || before == after)
        return;
    Demand(vframe::IsProgram(block), "only erases and programs change the flash");
    for (std::size_t i = 0; i < after.size(); ++i)
        Demand((after[i] & ~before[i]) == 0, "programming only clears bits");
}

}  // namespace

void RunCommands(ByteSpan bytes) {
    Input input(bytes);
    vframe::VirtualFrame frame(vframe::FlashImage::InMemory(Bytes(kFlashSize, 0xF7)));
    while (!input.Empty()) {
        Command command = NextCommand(input);
        const bool changes = !command.block.empty() && command.block[0] == 0xCB;
        const Bytes before = changes ? frame.FlashBytes() : Bytes();
        const platform::ScsiOutcome outcome = Execute(frame, command);
        Demand(outcome.executed && outcome.transferred <= command.data.size(),
               "no more moves than asked for");
        if (changes)
            CheckFlash(before, frame.FlashBytes(), command.block);
    }
    frame.Unplug();
}

std::vector<Bytes> CommandSeeds() {
    // Plain execution without data (9), to the host (11) and to the frame (10), then length, block, fill.
    const Bytes enable{9, 0, 0xCB, 0, 0, 0, 0, 0, 1, 0, 0, 0, 6, 0, 0, 0, 0, 0, 0};
    const Bytes clear{9, 0, 0xCB, 0, 0, 0, 0, 0, 2, 0, 0, 0, 1, 0, 0, 0, 0, 0, 0};
    const Bytes erase{9, 0, 0xCB, 0, 0, 0, 0, 0, 4, 0, 0, 0, 0x20, 1, 0, 0, 0, 0, 0};
    const Bytes program{10, 8, 0xCB, 0, 0, 0, 0, 0, 4, 0, 0, 8, 2, 1, 0, 0, 0, 0, 0x5A};
    const Bytes read{11, 16, 0xCD, 0, 0, 0, 0, 0, 4, 0, 0, 16, 3, 1, 0xFF, 0xF8, 0, 0, 0};
    const Bytes sum{11, 64, 0xCD, 0, 0, 0, 0, 5, 5, 0, 0, 0, 0, 1, 0, 0, 0, 0, 0};
    const Bytes status{11, 64, 0xCD, 0, 0, 0, 0, 0, 1, 0, 0, 64, 5, 0, 0, 0, 0, 0, 0};
    const Bytes inquiry{11 + 0x40, 36, 6, 0x12, 0, 0, 0, 36, 0, 0};
    const Bytes readTen{static_cast<std::uint8_t>(11 + 0xC0), 2, 10, 0x28, 0, 0, 0, 0, 0, 0, 0, 1, 0, 0};
    Bytes write;
    for (const Bytes* one : {&enable, &clear, &enable, &erase, &enable, &program, &status, &sum, &read})
        write.insert(write.end(), one->begin(), one->end());
    return {write, enable, read, sum, status, inquiry, readTen};
}

}  // namespace lumato::fuzz
