// What the pictures on frames were made from: for each stream that was made here, by its hash, the
// photograph, its pose and when that was. A convenience: whoever has no album, or a damaged one, loses no
// picture.
//
// The file "album" in the state folder, one line a picture, for its owner's eyes alone; it forgets the
// oldest. Several programs may add to it at once. Used by the thread that owns the store.
#pragma once

#include <cstdint>
#include <filesystem>
#include <map>
#include <string>

#include "base/file.h"
#include "base/sha256.h"
#include "picture/pose.h"

namespace lumato::picture {

struct AlbumEntry {
    Path source;                // absolute
    Pose pose;                  // fitted, or all values of the controls
    std::int64_t added = 0;     // seconds since 1970, UTC
    int quality = 0;            // that it was encoded with
    std::int64_t size = 0;      // of the photograph's file then; 0: nobody noted it
    std::int64_t modified = 0;  // and when it was last written, in seconds since 1970
};

enum class Original {
    There,
    Missing,  // or it cannot be read
    Changed,  // it has another size or another date than when the picture was made from it
};
[[nodiscard]] Original StateOf(const AlbumEntry& entry);
// Notes the size and date of its photograph.
void NoteOriginal(AlbumEntry& entry);

class Album {
  public:
    // What it says of a stream; null: nothing. Valid until the next call.
    [[nodiscard]] const AlbumEntry* Find(const Digest& stream);
    // The same in two steps, for those who ask about a whole list: a look at the album's file, and what is
    // known by that.
    void Look() { Load(); }
    [[nodiscard]] const AlbumEntry* Known(const Digest& stream) const;
    // The newest entry of a stream counts. Errors: Unwritable. Without a state folder, or when nothing of the
    // list is kept, it is remembered until the program ends.
    Result<void> Remember(const Digest& stream, const AlbumEntry& entry);

  private:
    void Load();
    Result<void> ForgetOldest();
    Result<void> Write(const std::string& line);

    std::map<std::string, AlbumEntry> m_entries;  // by the hash, in hexadecimal digits
    bool m_loaded = false;
    std::uintmax_t m_size = 0;  // of the file when it was read, and its date
    std::filesystem::file_time_type m_modified{};
};

// Of the edit picture, as the controls stand now.
[[nodiscard]] Pose CurrentPose();

}  // namespace lumato::picture
