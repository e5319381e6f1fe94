#include <algorithm>

#include "flash/command_block.h"
#include "flash/process_flash.h"
#include "platform/services.h"

namespace lumato::flash {
namespace {

CommandBlock ClockBlock(const platform::LocalTime& now) {
    constexpr int kSecondsPerHour = 3600;
    const int yearOfCentury = now.year % 100;
    // The frame knows no leap seconds: the 60th is a second 59 that lasts twice as long.
    const int second = std::min(now.second, 59);
    // Whole hours, truncated toward zero; 12 more, so that west of Greenwich is not negative.
    const int zone = now.secondsEastOfGmt / kSecondsPerHour + 12;

    CommandBlock block{};
    block[0] = kOpcodeSetClock;
    block[5] = static_cast<std::uint8_t>(yearOfCentury);
    block[6] = static_cast<std::uint8_t>((now.year - yearOfCentury) / 100);
    block[7] = static_cast<std::uint8_t>(now.month);
    block[8] = static_cast<std::uint8_t>(now.day);
    block[9] = static_cast<std::uint8_t>(now.hour);
    block[10] = static_cast<std::uint8_t>(now.minute);
    block[11] = static_cast<std::uint8_t>(second);
    block[14] = now.daylightSaving ? 1 : 0;
    block[15] = static_cast<std::uint8_t>(zone);
    return block;
}

}  // namespace

bool CProcessFlash::SynchronizeDPFtime() {
    const platform::Clock* clock = platform::CurrentServices().clock;
    return clock != nullptr && Send(ClockBlock(clock->Now()));
}

}  // namespace lumato::flash
