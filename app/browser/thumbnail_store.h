// The thumbnails that the programs of a desktop share: below $XDG_CACHE_HOME/thumbnails one PNG file for each
// photograph and size, named after the photograph's address and noting its date.
//
// What is found there anybody may have put there: it is read within bounds, and what is not whole is none.
// Constructed on the main thread; everything else from any thread.
#pragma once

#include <QImage>
#include <cstdint>
#include <string>

#include "base/file.h"

namespace lumato::app {

// A photograph as it is now.
struct PhotoFile {
    Path path;
    std::int64_t size = 0;
    std::int64_t modified = 0;  // seconds since 1970

    bool operator==(const PhotoFile&) const = default;
};

class ThumbnailStore {
  public:
    ThumbnailStore();
    explicit ThumbnailStore(Path folder) : m_folder(std::move(folder)) {}

    // The sides that thumbnails have: the smallest that is at least `pixels`, or the largest.
    [[nodiscard]] static int SideFor(int pixels);

    // Null where there is none of the photograph as it is now. Requires: `side` is one of SideFor().
    [[nodiscard]] QImage Read(const PhotoFile& photo, int side) const;
    // The photograph as it is now could not be read by this program.
    [[nodiscard]] bool HasFailed(const PhotoFile& photo) const;
    // What cannot be written is not kept.
    void Write(const PhotoFile& photo, const QImage& thumbnail, int side) const;
    void WriteFailure(const PhotoFile& photo) const;

    // What lies in the store itself gets no thumbnails there.
    [[nodiscard]] bool Holds(const Path& file) const;

  private:
    [[nodiscard]] Path FileOf(const PhotoFile& photo, const Path& kind) const;
    [[nodiscard]] QImage ReadEntry(const PhotoFile& photo, const Path& kind, int most) const;
    void WriteEntry(const PhotoFile& photo, const Path& kind, const QImage& image) const;

    Path m_folder;
    std::string m_failures = "lumato";  // the program's own folder of failures
};

}  // namespace lumato::app
