#include "store/connect.h"

#include <memory>
#include <utility>

#include "flash/process_flash.h"
#include "store/flash_layout.h"
#include "store/local_files.h"
#include "store/messages.h"
#include "store/recovery.h"
#include "store/store.h"

namespace lumato::store {
namespace {

// The canvas of the edit view, in whose middle the display's rectangle rests.
constexpr float kCanvasWidth = 580;
constexpr float kCanvasHeight = 400;

void SetFlashObject(std::shared_ptr<flash::CProcessFlash> frame) {
    const std::lock_guard lock(Store().transfer.mutex);  // FrameOnline() reads it
    flash::Flash().m_PtrPF.swap(frame);
}

void CentreDrawRect() {
    StoreState& store = Store();
    store.gmyDrawrect = {(kCanvasWidth - store.gmyLcdWidth) / 2, (kCanvasHeight - store.gmyLcdHeight) / 2,
                         store.gmyLcdWidth, store.gmyLcdHeight};
    store.status->RedrawPictures();
}

Connection Failed(Connection ended, const Words& note, const Error& why) {
    ShowFailure(note, why.message);
    if (ended == Connection::BadInformation)
        Store().status->SetControlPanlEnable(false);
    if (ended == Connection::ReadBackFailed)
        Store().status->SetDownLoadPrcess(0);
    return ended;
}

Result<void> ReadPicturesIntoEmptyFolders() {
    LUMATO_TRY_VOID(PrepareLocalFolders());
    DelAllPicAtStart();
    return ReadPicturesAndRecover();
}

Connection ConnectFrame() {
    if (const auto learnt = LearnGeometry(); !learnt)
        return Failed(Connection::BadInformation, kInformationFailed, learnt.error());
    CentreDrawRect();
    flash::Flash().m_PtrPF->SynchronizeDPFtime();  // a frame that refuses the clock still shows pictures
    if (const auto read = ReadTable(); !read)
        return Failed(Connection::BadTable, kTableFailed, read.error());
    const auto listed = ReadPicturesIntoEmptyFolders();
    CountFreeSpace();
    // A list that was read in part is nothing to work with: its download would take the others away.
    if (!listed)
        return Failed(Connection::ReadBackFailed, StopRequested() ? kReadingStopped : kReadBackFailed,
                      listed.error());
    Store().TheSmallestValue = 0;
    return Connection::Online;
}

// The journals on the disk stay for the next connection.
void LeaveJournal() {
    StoreState& store = Store();
    store.blocksAtRisk.clear();
    store.journal.reset();
    store.journalFolder.clear();
    store.lenderFolder.clear();
    store.resuming = store.orderResumed = false;
}

}  // namespace

Connection LastConnection() {
    return Store().lastConnection;
}

void SetFlashOnline(std::shared_ptr<device::AttachedFrame> frame) {
    OnlineOwner owner;
    StoreState& store = Store();
    store.lastConnection = Connection::None;
    LeaveJournal();
    ShowNote(kDeviceOnline);
    SetFlashObject(std::make_shared<flash::CProcessFlash>(std::move(frame)));
    store.gmyIsTransferData = true;

    const Connection ended = ConnectFrame();
    store.lastConnection = ended;
    if (ended == Connection::Online)
        owner.PostRefresh();
}

void ReleaseFrame() {
    StoreState& store = Store();
    store.gmyIsTransferData = false;
    store.lastConnection = Connection::None;
    ReleaseAllFilesBeside();
    store.gmyTotalePicture = 0;
    LeaveJournal();
    ShowNumbers();
    store.status->RedrawPictures();
    store.status->SetControlPanlEnable(false);
    ShowNote(kDeviceNotOnline);
    SetFlashObject(nullptr);
}

void SetFlashOffline() {
    if (!TransferRunning())
        ReleaseFrame();
}

void StoreFramePort::BeginOnline() {
    store::BeginOnline();
}

void StoreFramePort::SetFlashOnline(std::shared_ptr<device::AttachedFrame> frame) {
    store::SetFlashOnline(std::move(frame));
}

void StoreFramePort::SetFlashOffline() {
    store::SetFlashOffline();
}

}  // namespace lumato::store
