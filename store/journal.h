// The journal of a frame: what it takes to give every picture back when a download breaks off or the program
// ends before one. One file, checked as a whole; streams that the frame may lose lie beside it
// (journal_folder.h).
//
//   0      "LUMATOJ2"
//   8      phase, from-scratch flag, 2 bytes 0
//   12     frame identity, 32 bytes
//   44     counter, seconds since 1970, LCD width and height, flash size
//   64     the table as it stood on the frame, 4,096 bytes, and as the download is to leave it, 4,096
//   8256   number of pictures, then for each: hash (32), length, address before the download or 0
//          number of blocks, then for each: address, size, its bytes before the download changed them
//          what tells the frame from its twins, and its name: for each size and bytes
//   end    SHA-256 over everything before it
//
// Numbers have 4 bytes, little-endian. No state; callable from any thread.
#pragma once

#include <array>
#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "base/error.h"
#include "base/sha256.h"
#include "store/store_state.h"

namespace lumato::store {

struct JournalPicture {
    Digest hash{};
    std::int32_t length = 0;
    std::int32_t address = 0;  // where it was stored before the download; 0: it waits for one

    bool operator==(const JournalPicture&) const = default;
};

struct Journal {
    enum class Phase : std::uint8_t {
        Additions = 1,  // the pictures were added, and no download has begun
        Download = 2,   // a download began: the pictures are its whole list
    };

    Phase phase = Phase::Additions;
    bool fromScratch = false;   // the download writes everything anew
    Digest frame{};             // what all frames of the model share
    std::uint32_t counter = 0;  // the higher, the newer; clocks go wrong
    std::uint32_t time = 0;     // for people, as are the next three and the name
    std::int32_t lcdWidth = 0;
    std::int32_t lcdHeight = 0;
    std::int32_t flashSize = 0;
    std::array<std::uint8_t, kTableSize> tableBefore{};
    std::array<std::uint8_t, kTableSize> tableAfter{};
    std::vector<JournalPicture> pictures;  // in the order of the list
    std::map<std::int32_t, std::vector<std::uint8_t>> blocks;
    std::string individual;  // tells the frame from others of its model; empty: nothing does
    std::string name;

    bool operator==(const Journal&) const = default;
};

[[nodiscard]] std::vector<std::uint8_t> EncodeJournal(const Journal& journal);
// Errors: Damaged, for bytes that are not exactly what EncodeJournal() writes; Unsupported, for a whole
// journal of another version of this program.
[[nodiscard]] Result<Journal> DecodeJournal(ByteSpan bytes);

// Lays the blocks, by their addresses, over bytes that were read from `address` on.
void PutBlocksBack(const std::map<std::int32_t, std::vector<std::uint8_t>>& blocks, std::int32_t address,
                   std::vector<std::uint8_t>& stream);

}  // namespace lumato::store
