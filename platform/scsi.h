// SCSI pass-through as the device room needs it: one command, at most one data phase, one status.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

#include "base/bytes.h"
#include "base/error.h"

namespace lumato::platform {

enum class Direction {
    None,  // no data phase
    Out,   // host to device: the buffer is sent
    In,    // device to host: the buffer is filled
};

struct ScsiRequest {
    ByteSpan block;  // command descriptor block, 6 to 16 bytes
    Direction direction = Direction::None;
    MutableByteSpan data;  // only read for Out; empty for None
    std::chrono::milliseconds timeout{5000};
};

// SCSI status codes (SAM-5, 5.3.1) that we meet.
inline constexpr std::uint8_t kStatusGood = 0x00;
inline constexpr std::uint8_t kStatusCheckCondition = 0x02;
// Not a SCSI status: the command never came to one (time-out, transport error, device gone).
inline constexpr std::uint8_t kStatusNone = 0xFF;

struct ScsiOutcome {
    std::uint8_t status = kStatusNone;
    bool executed = false;  // false: the command could not be carried to its end; `status` is kStatusNone
    std::size_t transferred = 0;  // bytes of the data phase that really moved; those behind are not data
    std::string diagnostic;       // sense or transport text for a log, may be empty
};

// An open device, held for exclusive use for as long as the object lives.
//
// Execute may be called from any thread, one call at a time.
class ScsiDevice {
  public:
    virtual ~ScsiDevice() = default;

    [[nodiscard]] virtual ScsiOutcome Execute(const ScsiRequest& request) = 0;

    // True once the device has vanished; it never comes back under this object, and Execute then sends
    // nothing.
    [[nodiscard]] virtual bool IsGone() const = 0;

    // True for hardware: who is about to erase something asks the device once more who it is.
    [[nodiscard]] virtual bool WantsIdentityConfirmed() const { return false; }
};

}  // namespace lumato::platform
