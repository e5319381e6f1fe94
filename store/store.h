// The picture store on the frame: what the programs call. Each operation has a file of its own name.
//
// Long ones are worker bodies: whoever starts the thread hands the store's state over to it (store_state.h).
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "base/error.h"
#include "device/comm_usb.h"
#include "store/store_state.h"

namespace lumato::store {

// ---- connect.cpp

// Body of the device-online task: device information, clock, table, read-back. The outcome is shown as notes
// and kept in LastConnection().
void SetFlashOnline(std::shared_ptr<device::AttachedFrame> frame);
// Main thread. Releases everything that belonged to the frame; while a worker runs, FinishTransfer() does
// that later.
void SetFlashOffline();
// Empties the local folders of bitmaps, streams and unfinished files; others stay, links are never followed.
void DelAllPicAtStart();

// How the frame's SetFlashOnline() ended; None without a frame and while one runs. From any thread.
[[nodiscard]] Connection LastConnection();

// Plugs the functions above into the device link.
class StoreFramePort : public device::FramePort {
  public:
    void BeginOnline() override;
    void SetFlashOnline(std::shared_ptr<device::AttachedFrame> frame) override;
    void SetFlashOffline() override;
};

// ---- flash_layout.cpp

// What the frame says of itself. False, with nothing changed, when it cannot be read or makes no sense;
// until it is true once, nothing may be written to this frame.
bool GetInformation();
// The picture table; an empty one when the frame has none.
bool ReadPictureList();
// Keeps the header and the first `count` used slots (all for 0) of the table in memory, without holes.
void MovePicAddressInPicList(int count);

// ---- read_back.cpp

// Reads every picture of the table into local files and a new picture list. False when a read from the frame
// or a local file fails: the list then ends before that picture.
bool ReadPicFromFlash();

// ---- download_plan.cpp (and download_plan.h)

// Sets TotolFlashSizeForPic: what the picture area has left beside the list.
void CountFreeSpace();
// Which pictures a download writes, and where: from position `first` (-1: none is new) on, `total` bytes,
// at flash address `start`. True when that is all of them, from the start of the picture area.
bool GetStartAddAndTotalDownSize(int& first, int& total, int& start);

// ---- download.cpp

// The button's first half, main thread: panel off, flag, note, progress. The caller then starts the task.
// False (nothing done) when no frame came online whole, or while another worker runs.
bool BeginDownload();
// Body of the download task. True when the frame now holds the list.
bool TranspotPic();

// ---- delete_pictures.cpp

// The Delete button: the selected picture (gmyCurrentSelectItem) or the last one, or all when gmyDeleteAll is
// set.
void DeletePictures();
// The pictures at these positions, whatever gmyDeleteAll says; the one that stood behind the first of them
// becomes the selected one, or the last. Nothing happens where there is none at one of them.
void DeletePicturesAt(std::vector<int> positions);

// ---- local_files.cpp

// Removes the listed pictures' streams and the list itself.
void ReleaseAllFiles();
// The same, but the files go beside the caller, for hundreds take longer than a window may be away: the
// store's `removal`.
void ReleaseAllFilesBeside();
[[nodiscard]] Path StreamPath(const std::string& fileName);  // "%s/Edata/%s"
[[nodiscard]] Path BitmapPath(const std::string& fileName);  // "%s/data/%s"

// ---- save_pictures.cpp

struct SaveReport {
    int saved = 0;
    std::vector<Error> failed;   // one for each picture that could not be copied
    bool stopped = false;        // early, because that was asked for
    std::vector<Path> replaced;  // where files are now that were in the way and none of ours: in the trash
};
// "2 files that were in the way are now in FOLDER"; empty without any.
[[nodiscard]] Phrase ReplacedText(const SaveReport& report);

// The name that the copy of a picture of the list gets; nothing: it is not copied.
using SaveName = std::function<std::optional<std::string>(int position, const FileData& picture)>;
// 1.bmp, 2.bmp, ..., numbered by position.
[[nodiscard]] std::optional<std::string> NumberedName(int position, const FileData& picture);

// Copies the listed pictures' bitmaps into the folder. An earlier copy of these names is overwritten, another
// file goes to the trash first, and what cannot be written is passed over.
SaveReport SavePictures(const Path& folder, const SaveName& nameOf = NumberedName);

}  // namespace lumato::store
