// From picture files to entries of the frame's picture list: select and fit, pose, compose, encode within the
// space that the frame has left.
//
// Used by the thread that owns the store and the edit picture: the main thread, or the worker of a batch.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "base/error.h"
#include "base/file.h"
#include "picture/encoding_plan.h"
#include "picture/make_room.h"
#include "picture/picture_state.h"
#include "picture/pose.h"
#include "picture/row_bands.h"

namespace lumato::picture {

// edit_picture.cpp
// A new edit picture in its upright starting pose; its pixels in gmyCGimagebi. Requires: the last one was
// released. On failure gmyCGimagebi stays behind without pixels.
[[nodiscard]] Result<std::unique_ptr<MyImage>> LoadPicture(const Path& file);
// Nothing to do without an edit picture. The pixels stay until ReleaseMyBiBuff().
void ReleaseMyImage();
// The edit picture's pixels; with `preview` nothing, for the preview's stay until the next one replaces them.
void ReleaseMyBiBuff(bool preview);
// Makes the file the edit picture, fitted to the LCD. When it cannot be read there is none, and a note says
// so. `interactive`: shown at once; a batch shows only its last one.
Result<void> SelectOnePicture(const Path& file, bool interactive);
// The same in two steps for a window that must not wait: the import, on any thread, and the owner taking its
// outcome over. The picture is held as the edit controls of an LCD of that size need it.
[[nodiscard]] Result<std::unique_ptr<BitmapInfo>> ImportForEditView(const Path& file, float lcdWidth,
                                                                    float lcdHeight,
                                                                    Processors processors = Processors::All);
Result<void> SelectImported(const Path& file, Result<std::unique_ptr<BitmapInfo>> imported,
                            std::shared_ptr<PictureLevels> levels = nullptr);
// Tells people what they should know of how the file was read, if anything.
void ShowImportNote(const Phrase& note, const Path& file);
// Leaves the edit view without a picture.
void ReleaseSelection();

// compose_picture.cpp
// The posed edit picture inside the LCD rectangle as a bitmap file's pixels: blue, green, red, bottom row
// first, without padding; black without an edit picture. Errors: TooLarge.
[[nodiscard]] Result<std::vector<std::uint8_t>> RenderLcdBitmap(const store::Rect& rect);
// The same of any picture, for any LCD. Touches no state; any thread that may read the picture. Errors: Gone,
// too, when it is not wanted any more.
[[nodiscard]] Result<std::vector<std::uint8_t>> RenderLcdBitmap(const store::Rect& rect, const MyImage* image,
                                                                int lcdWidth, int lcdHeight,
                                                                const IsWanted& isWanted = {});
// The picture of a file, fitted to an LCD of that size, as RenderLcdBitmap() makes it after the selection of
// the file; the picture is not held for it, but composed while it is imported. Touches no state; any thread.
// `note`: gets that of the import. Errors: those of the import; TooLarge.
[[nodiscard]] Result<std::vector<std::uint8_t>> ComposeFitted(const Path& file, int lcdWidth, int lcdHeight,
                                                              Processors processors = Processors::All,
                                                              Phrase* note = nullptr);
// Whether a bitmap can be made for an LCD of that size. Errors: TooLarge.
[[nodiscard]] Result<void> CheckLcdSize(int width, int height);
// Renders one picture file for an LCD of that size into a bitmap file; needs no frame. A pose other than the
// fitted one takes the edit picture and the LCD's size with it. Returns the note of the import.
[[nodiscard]] Result<Phrase> ComposeFile(const Path& picture, int lcdWidth, int lcdHeight, const Pose& pose,
                                         const Path& bitmap);

// add_pictures.cpp
struct AddedPicture {
    std::string name;  // in the local folders
    int bytes = 0;     // of its stream
    int quality = 0;
    int copyOf = 0;  // position of the same picture, which the list had already; 0: it had none
};

// Errors of adding: the message is the status note that was shown, the cause is the reason in plain words.

// Composes the edit picture, writes the bitmap and hands it on to MySelectButtonHandler(). `rect` has its
// corner at the top left. Whatever fails, the counters are given back and the reason is shown.
Result<AddedPicture> GetPicDataFromView(const store::Rect& rect, bool batch, const Placing& placing = {});
// The same with what RenderLcdBitmap() or ComposeFitted() returned.
Result<AddedPicture> AddComposed(const Result<std::vector<std::uint8_t>>& pixels, bool batch,
                                 const Placing& placing = {});
// Encodes the pixels of the composed bitmap, which is written, lowering the quality where the frame sets a
// limit, and puts it into the list. The counters already include it. `advance`: the disk browser moves on
// afterwards.
Result<AddedPicture> MySelectButtonHandler(const Path& bmpPath, ByteSpan pixels, bool advance,
                                           const Placing& placing = {});
// Notes in the album what the picture that was just added was made from, if that is a file, and in `added`
// where the list had the same photograph in the same pose, whatever bytes it gave then.
void RememberSource(AddedPicture& added, const Path& source, const Pose& pose);
// Tells people when the list had it already.
void ShowCopyOf(const AddedPicture& added, const Path& source);
// The Add button with at most one picture selected. Requires: a frame is online, no transfer runs.
Result<AddedPicture> AddEditPicture(const Placing& placing = {});

// process_more_pic.cpp
enum class AfterRefusal { Stop, GoOn };

enum class Room {
    AsItIs,
    Make,  // what does not fit has others give way (make_room.h)
};

struct BatchReport {
    struct Added {
        Path file;
        AddedPicture picture;
        bool waited = false;  // it was in the list already, and waited for a download
        Phrase note{};        // of its import: what people should know
    };
    struct Refused {
        Path file;
        Error reason;
        bool unreadable = false;  // no picture at all: the browser takes it for none from now on
    };
    std::vector<Added> added;
    std::vector<Refused> refused;
    std::vector<Path> notTried;
    std::vector<Lowered> couldLower;  // to make room for the last one refused; empty: nothing would help
    std::vector<Lowered> lowered;     // that gave way, some of them more than once
};

// Something was left out, or is to be known of what was added.
[[nodiscard]] bool TellsMore(const BatchReport& report);
// "12 added, 3 refused, 4 not tried"; what is 0 is left out, but for the first number.
[[nodiscard]] Phrase NumbersOf(const BatchReport& report);

// Told before each file how many have been tried.
using BatchProgress = std::function<void(std::size_t tried)>;

enum class Waiting {
    AddAgain,    // what waits in the list already is added once more: the window shows that it is there
    AddOnlyNew,  // what waited when the batch began is reported as it is: such a call may be a second attempt
};

// Adds the files in their order. Files that cannot be read are passed over; at any other refusal the batch
// stops or goes on. It ends when the frame is gone. One that may stop leaves the picture at which it ended in
// the edit view, as people expect who have to decide about it. `replaces`: the position of the picture whose
// place a single file takes.
BatchReport AddPictures(const std::vector<Path>& files, const Pose& pose, AfterRefusal policy,
                        const BatchProgress& progress = {}, Waiting waiting = Waiting::AddAgain,
                        Room room = Room::AsItIs, int replaces = 0);
// What could give way to a file that was refused for want of room; empty: nothing would help, or it is not
// that. The edit view shows the file afterwards.
std::vector<Lowered> WouldMakeRoom(const Path& file, const Pose& pose);
// Body of the batch task: adds the files in that pose until one is refused, and tells people what
// came of it. Requires: a store::TransferOwner stands, and there is no edit picture.
BatchReport ProcessMorePic(const std::vector<Path>& files, const Pose& pose = {}, Room room = Room::AsItIs);

}  // namespace lumato::picture
