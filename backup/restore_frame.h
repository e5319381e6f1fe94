// Gives the connected frame the pictures of a backup: in two steps, so that what is asked for is known, made
// and found to fit before anything is changed.
//
// Used by the thread that owns the store.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "backup/backup_file.h"
#include "store/picture_list.h"

namespace lumato::backup {

enum class Made {
    AsItWas,       // the very bytes of the backup
    FromOriginal,  // fitted anew to another frame, from what it was made from
    FromPicture,   // the same from the picture of the backup: the original is not here
};
[[nodiscard]] const char* TextOf(Made made);

struct RestoredPicture {
    std::string name;
    Made made = Made::AsItWas;
    Phrase refused{};  // why it is not restored; empty: it is
};

// Local files of pictures that wait to become the list; they go with it.
class Restoration {
  public:
    Restoration() = default;
    ~Restoration();
    Restoration(Restoration&&) = default;
    Restoration& operator=(Restoration&& other) noexcept;

    [[nodiscard]] const std::vector<RestoredPicture>& Pictures() const { return m_pictures; }
    [[nodiscard]] int Count() const { return static_cast<int>(m_records.size()); }
    // Of the present list: the backup does not have them, or not whole.
    [[nodiscard]] int Lost() const { return m_lost; }

    // The list is that of the backup afterwards; its next download writes it. The journal stays as it is
    // until then, so that a program that ends before it finds everything as it was.
    void Apply();

  private:
    friend class Restorer;

    std::vector<RestoredPicture> m_pictures;
    std::vector<store::FileData> m_records;
    std::vector<std::pair<Digest, picture::AlbumEntry>> m_origins;
    int m_lost = 0;
};

// Makes the pictures' local files, beside those of the list. Shows progress. Errors: they do not fit; nothing
// of the backup can be restored; a file cannot be written; Refused when that was asked to stop.
[[nodiscard]] Result<Restoration> PrepareRestoration(const Backup& backup);

}  // namespace lumato::backup
