// A frame's pictures in one file: a tar archive that other programs open, too.
//
//   manifest.json             the frame, and its pictures in their order with hashes and origins
//   streams/001-NAME.stream   the pictures as the frame stores them; one that it has twice is here once
//   pictures/001-NAME.jpg     what they look like, for people who open the archive
//   SHA256SUMS                of all other files, as `sha256sum -c` takes it
//
// Reading takes what is whole. No state; callable from any thread.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "base/error.h"
#include "base/file.h"
#include "base/sha256.h"
#include "picture/album.h"

namespace lumato::backup {

using Stream = std::vector<std::uint8_t>;

struct BackedUpFrame {
    std::string name;  // for people
    int lcdWidth = 0;
    int lcdHeight = 0;
    int sampling = 0;
    int tableAddress = 0;
    int flashSize = 0;

    // Whether its streams are what another frame shows, too.
    [[nodiscard]] bool ShowsAs(const BackedUpFrame& other) const {
        return lcdWidth == other.lcdWidth && lcdHeight == other.lcdHeight && sampling == other.sampling;
    }
};

struct BackedUpPicture {
    std::string name;
    Digest hash{};                                // of the stream
    std::int32_t address = 0;                     // on the frame; 0: it waited for a download
    std::optional<picture::AlbumEntry> origin{};  // what it was made from
    ByteSpan stream{};                            // empty: it is lost
};

struct Backup {
    std::optional<BackedUpFrame> frame;  // nothing: the manifest is damaged or missing
    std::vector<BackedUpPicture> pictures;
    std::vector<Stream> held;  // what the pictures' streams lie in
};

// A backup is not larger.
inline constexpr std::uintmax_t kLargestBackup = 256 << 20;

// Appears whole, or not at all, for its owner's eyes alone, and is on the disk then. Errors: those of
// WriteSyncedFile(); TooLarge; Unsupported without the library for archives. Requires: the frame is known,
// and no stream is missing.
[[nodiscard]] Result<void> WriteBackup(const Path& file, const Backup& backup);

// With every picture that is as it was. Without a sound manifest the streams are taken in the order of their
// names. Errors: those of ReadPlainFile(); Unsupported for what is no backup, or one of a later program.
[[nodiscard]] Result<Backup> ReadBackup(const Path& file);

inline constexpr Words kBeyondBackup{"BEYOND_BACKUP", "the pictures are larger than a backup can be"};

}  // namespace lumato::backup
