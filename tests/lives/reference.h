// What the frames must hold, and their user see on each computer, after all that was done: the plainest
// reference there is, lists of picture bytes.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "base/file.h"

namespace lumato::lives {

using Bytes = std::vector<std::uint8_t>;
using Pictures = std::vector<Bytes>;

inline constexpr std::size_t kTable = 0x10000;
inline constexpr std::size_t kHomes = 2;
inline constexpr std::size_t kModels = 2;

// Takes each of `wanted` out of `pictures`, once. False when one is not there.
bool TakeAll(Pictures& pictures, const Pictures& wanted);
// The same, as far as they are there.
void TakeSome(Pictures& pictures, const Pictures& wanted);
bool Has(const Pictures& pictures, const Bytes& picture);
void Append(Pictures& pictures, const Pictures& more);

// What the table on a flash lists, read without the program's help; nothing without a whole table.
Pictures OnFlash(const Bytes& flash);
// What a computer's journals can give back.
Pictures InJournals(const Path& stateFolder);

// One frame, as one computer knows it.
struct Reference {
    Pictures stored;   // what the frame's table lists
    Pictures waiting;  // added and not downloaded: they come back behind the stored ones
    // Of all those, what came with the journal of another frame, or with one that fits no more: it may stay
    // away.
    Pictures offered;
    // Since the last download failed, all those come back, but which of them wait is open;
    bool broken = false;
    bool anyOrder = false;  // their order, too, when that download was itself to mend a broken-off one;
    Pictures deleted;       // and those that were deleted and never left the frame may come back.
    Pictures
        onlyOnFrame;   // before that download the frame held these: the journal may be without their bytes
    Pictures perhaps;  // of a batch: they may have been added before the frame was gone
    bool unknown = false;  // a failure elsewhere has left a table that lists what nobody knows

    // Whether a frame that comes online may show this: all of its pictures; the others were deleted, or come
    // from a batch, or from `foreign` journals.
    [[nodiscard]] bool Explains(const Pictures& seen, const Pictures& foreign) const;
    // It did show this, `inFrame` of them as the frame's own.
    void TakeOver(const Pictures& seen, std::size_t inFrame, const Pictures& foreign);
    // One of those that are seen is deleted: one that only waits is gone for good, one in the frame is there
    // until a download.
    void Forget(const Pictures& seen, std::size_t index, std::size_t inFrame);
    void AfterDownload(const Pictures& onFlash);
    void AfterFailedDownload(const Pictures& seen, std::size_t inFrame, bool frameChanged);

    // What the computer must keep in its journals until a frame has it.
    [[nodiscard]] Pictures Kept() const;
    // What its journals may offer to others.
    [[nodiscard]] Pictures MayBeOffered() const;

  private:
    [[nodiscard]] Pictures Due() const;
};

struct Frame {
    Path image;
    Bytes flash;     // while it is not plugged in
    Bytes firmware;  // what must stay as it is
    int model = 0;   // twins have one
    int lcd = 8;
    int limit = 0;
    std::array<Reference, kHomes> on;
};

// A computer with its journals.
struct Home {
    Path folder;
    Pictures
        kept;  // were waiting for a frame that was changed elsewhere since: journals have them, or a frame
    std::array<Pictures, kModels>
        mayBeOffered;  // by model: all that journals without a frame may still offer

    [[nodiscard]] Path StateFolder() const { return folder / "state"; }
};

// All frames and all computers.
struct World {
    std::vector<Frame> frames;
    std::array<Home, kHomes> homes;
    Pictures everyPicture;
    int overwritten = 0;  // pictures whose download broke off, and whose frame was filled anew elsewhere

    // What journals that are not the frame's own may offer to it there.
    [[nodiscard]] Pictures Foreign(std::size_t frame, std::size_t home) const;
    // A download from `home` ended, and the frame has changed.
    void AfterChange(std::size_t frame, std::size_t home);
    // It is complete: what waited for a twin and is on this frame now need not wait any more.
    void AfterDownload(std::size_t frame, std::size_t home, const Pictures& onFlash);
    // A frame with this frame's flash, in a new file.
    void Clone(std::size_t frame, const Path& image, const Bytes& flash);
    void Deleted(const Bytes& picture);
    // Pictures that a computer must have, and that are in no journal of it and on no frame.
    [[nodiscard]] std::size_t Lost() const;
    // A frame of which a computer knows only what it holds.
    [[nodiscard]] Reference Unknown(const Bytes& flash) const;

  private:
    [[nodiscard]] Pictures OnFrames() const;
};

}  // namespace lumato::lives
