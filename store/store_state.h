// The store's process-wide state, under the names that the whole program uses.
//
// One owner at a time: while a worker task runs, it alone touches this record; the main thread does
// otherwise. The hand-over is the start of the task and its end (transfer.h). Only the atomic members are
// read from both sides.
#pragma once

#include <array>
#include <atomic>
#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "base/sha256.h"
#include "platform/task.h"
#include "store/codec_port.h"
#include "store/frame_geometry.h"
#include "store/picture_list.h"
#include "store/status_port.h"
#include "store/transfer.h"

namespace lumato::store {

struct Journal;

enum class Connection { None, Online, BadInformation, BadTable, ReadBackFailed };

struct Rect {
    float x = 0, y = 0, width = 0, height = 0;
    bool operator==(const Rect&) const = default;
};

struct StoreState {
    // From the device information block. Where something lies and fits, the geometry is asked.
    FrameGeometry geometry;
    float gmyLcdWidth = 128.0F;
    float gmyLcdHeight = 128.0F;
    std::int32_t G_PicListAddress = 0;  // flash address of the picture table
    std::int32_t G_FlashTotalSize = 0;  // flash size in bytes
    std::int32_t G_TotalPicNum = 0;     // picture limit of the frame; 0: none
    std::int32_t G_YValue = 4;          // sampling value for the codec
    std::int32_t G_PicQuality = 90;     // starting quality
    std::uint8_t eraseInstruction = 0x20;
    std::uint8_t pageOption = 0;

    // Bytes of the picture area that no listed picture claims ("Totol" is total); CountFreeSpace() sets it.
    std::int32_t TotolFlashSizeForPic = 0;
    std::array<std::uint8_t, kTableSize> G_PictureList{};  // the picture table in memory

    PictureList gmyPictureData;             // null when no list exists
    std::int32_t gmyTotalePictureNum = 0;   // pictures in the list
    std::int32_t gmyTotalePicture = 0;      // number used in new file names
    std::int32_t gmyCurrentSelectItem = 0;  // position selected in the frame picture list, 0 for none
    bool gmyDeleteAll = false;              // the Delete All check box

    Rect gmyDrawrect{226, 136, 128, 128};  // LCD rectangle on the 580 x 400 edit canvas
    std::int32_t TheSmallestValue = 0;     // fit scale of the edit picture in percent

    std::atomic<bool> gmyIsTransferData{false};  // a worker transfers pictures: quitting is refused

    // Flash blocks, by address, as they stood before a download that failed changed them: pictures that stay
    // have bytes in them, and the next download puts these back. Empty when no download is in arrears.
    std::map<std::int32_t, std::vector<std::uint8_t>> blocksAtRisk;

    // The journal (journal.h) that protects this frame's pictures, where it lies, and what it is told apart
    // by.
    Digest frameIdentity{};       // of what the device information block says: its model's
    std::string frameIndividual;  // what tells it from others of the model; empty: nothing is known
    std::string frameName;        // for people
    std::array<std::uint8_t, kTableSize> tableOnFrame{};  // as read at connection, valid or not
    std::shared_ptr<Journal> journal;                     // as it lies on the disk; null: none
    Path journalFolder;                                   // empty: nothing is journaled
    Path lenderFolder;  // of a journal that may be another frame's: it is read and left as it is; or empty
    bool resuming = false;                    // the list is that of a download that broke off
    bool orderResumed = false;                // and has its order again
    bool checkWritten = false;                // downloads read back what they wrote before they say so
    bool downloadStopped = false;             // the last one, because that was asked for
    std::optional<int> picturesShown;         // by the frame; nothing: its table is not valid
    std::vector<std::uint8_t> slotsAsStored;  // of the list when it was what the frame holds

    TransferState transfer;
    std::atomic<Connection> lastConnection{Connection::None};

    Path gmyResousepath;           // resources folder: Language.ini, data/, Edata/
    Path statePath;                // folder of the journals, set at start; empty: none are kept
    StatusPort* status = nullptr;  // set at start
    CodecPort* MyJPG = nullptr;    // set at start

    platform::Task removal;  // of the local files of the frame that has gone; the reset waits for it, too
};

StoreState& Store();
// Back to the defaults, ports and folder included.
void ResetStore();

}  // namespace lumato::store
