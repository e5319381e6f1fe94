// Why the virtual frame refuses a command, as SCSI sense data (SPC-2, 7.20.2), and the answer of its parts.
//
// Plain values, no state; any thread.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include <tl/expected.hpp>

namespace lumato::vframe {

struct Sense {
    std::uint8_t key = 0;
    std::uint8_t code = 0;       // additional sense code
    std::uint8_t qualifier = 0;  // additional sense code qualifier
    std::string detail;          // what the bytes cannot say, for a log; may be empty

    bool operator==(const Sense&) const = default;
};

inline const Sense kNoSense{};
inline const Sense kUnknownCommand{0x05, 0x20, 0x00, {}};  // invalid command operation code
inline const Sense kOutOfRange{0x05, 0x21, 0x00, {}};      // logical block address out of range
inline const Sense kInvalidField{0x05, 0x24, 0x00, {}};    // invalid field in command descriptor block
inline const Sense kWriteProtected{0x07, 0x27, 0x00, {}};
inline const Sense kWriteError{0x03, 0x0C, 0x00, {}};
inline const Sense kReadError{0x03, 0x11, 0x00, {}};  // unrecovered read error

// Bytes of the data phase that moved, or why the command got CHECK CONDITION.
using Reply = tl::expected<std::size_t, Sense>;

[[nodiscard]] inline tl::unexpected<Sense> Refuse(Sense sense) {
    return tl::unexpected<Sense>(std::move(sense));
}

}  // namespace lumato::vframe
