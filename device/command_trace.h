// The last commands that frames were sent, and how they ended: so that a report of a fault can be replayed.
//
// What is kept is bounded, and of pictures there are hashes alone. Commands of any thread; the frame's come
// one at a time.
#pragma once

#include <array>
#include <cstdint>
#include <deque>
#include <mutex>
#include <string>
#include <vector>

#include "base/sha256.h"
#include "platform/scsi.h"

namespace lumato::device {

struct CommandRecord {
    std::vector<std::uint8_t> block;  // empty: no command; a frame was attached, or records are missing here
    platform::Direction direction = platform::Direction::None;
    std::size_t length = 0;       // of the data phase asked for
    std::size_t transferred = 0;  // that took place
    std::uint8_t status = 0;
    std::vector<std::uint8_t> data;  // the first bytes of the data phase, or all
    bool filled = false;             // the one byte in `data` is that of all
    std::string hash;                // of all of them, where that is not all; empty otherwise
    std::uint16_t sum = 0;           // likewise, as the frame adds them up
    int times = 1;                   // the same, one behind the other
    std::string mark = {};           // without a command: what happened

    // The first `KnownBytes()` bytes of the data phase.
    [[nodiscard]] std::size_t KnownBytes() const;
    [[nodiscard]] std::uint8_t ByteAt(std::size_t at) const { return data[filled ? 0 : at]; }
    // Of the data phase that took place.
    [[nodiscard]] std::size_t Moved() const;
    // What happened in place of a command.
    [[nodiscard]] static CommandRecord Marked(std::string mark);
    // All but how many times.
    [[nodiscard]] bool IsLike(const CommandRecord& other) const;
};

class CommandTrace {
  public:
    void Note(const platform::ScsiRequest& request, const platform::ScsiOutcome& outcome);
    // A frame has come; the command before was the INQUIRY that found it.
    void NoteAttached();
    // These bytes of the flash are no picture's: they are kept whole. Until the next frame comes.
    void KeepWhole(std::uint32_t address, std::uint32_t length);

    [[nodiscard]] std::vector<CommandRecord> Copy() const;
    // A command has changed a frame, or gone wrong.
    [[nodiscard]] bool Tells() const;

  private:
    struct Range {
        std::uint32_t address = 0;
        std::uint32_t length = 0;
    };
    [[nodiscard]] std::size_t BytesToKeep(const platform::ScsiRequest& request, std::size_t moved) const;
    void Add(CommandRecord record);

    mutable std::mutex m_mutex;
    bool m_tells = false;
    std::vector<Range> m_whole;
    std::vector<CommandRecord> m_first;  // since the frame came: what it says of itself, its table
    std::deque<CommandRecord> m_last;
    std::size_t m_kept = 0;               // bytes in m_last
    std::size_t m_missing = 0;            // between the two
    std::vector<CommandRecord> m_before;  // of the frame before
};

// The one trace of this process.
CommandTrace& Commands();

}  // namespace lumato::device
