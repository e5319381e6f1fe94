// The journal of a frame: what it takes to give every picture back when a download breaks off or the program
// ends before one. One file, checked as a whole; the pictures' streams lie beside it (journal_folder.h).
//
//   0      "LUMATOJ1"
//   8      phase, from-scratch flag, 2 bytes 0
//   12     frame identity, 32 bytes
//   44     table address, plan: first position (two's complement), bytes, start
//   60     the table as it stood on the frame, 4,096 bytes, and as the download is to leave it, 4,096
//   8252   number of pictures, then for each: hash (32), length, address before the download or 0
//          number of blocks, then for each: address, size, its bytes before the download changed them
//   end    SHA-256 over everything before it
//
// Numbers have 4 bytes, little-endian. No state; callable from any thread.
#pragma once

#include <array>
#include <cstdint>
#include <map>
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
    bool fromScratch = false;  // the download writes everything anew
    Digest frame{};
    std::int32_t tableAddress = 0;
    std::int32_t first = -1;  // the plan (store.h)
    std::int32_t total = 0;
    std::int32_t start = 0;
    std::array<std::uint8_t, kTableSize> tableBefore{};
    std::array<std::uint8_t, kTableSize> tableAfter{};
    std::vector<JournalPicture> pictures;  // in the order of the list
    std::map<std::int32_t, std::vector<std::uint8_t>> blocks;

    bool operator==(const Journal&) const = default;
};

[[nodiscard]] std::vector<std::uint8_t> EncodeJournal(const Journal& journal);
// Errors: Damaged, for bytes that are not exactly what EncodeJournal() writes.
[[nodiscard]] Result<Journal> DecodeJournal(ByteSpan bytes);

}  // namespace lumato::store
