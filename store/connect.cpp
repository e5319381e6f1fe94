#include "store/connect.h"

#include <memory>

#include "flash/process_flash.h"
#include "store/local_files.h"
#include "store/messages.h"
#include "store/picture_table.h"
#include "store/recovery.h"
#include "store/store.h"

namespace lumato::store {
namespace {

// The canvas of the edit view, in whose middle the display's rectangle rests.
constexpr float kCanvasWidth = 580;
constexpr float kCanvasHeight = 400;

void SetFlashObject(std::shared_ptr<flash::CProcessFlash> frame) {
    const std::lock_guard lock(Store().transfer.mutex);  // the main thread may have to retire it
    flash::Flash().m_PtrPF.swap(frame);
}

void CentreDrawRect() {
    StoreState& store = Store();
    store.gmyDrawrect = {(kCanvasWidth - store.gmyLcdWidth) / 2, (kCanvasHeight - store.gmyLcdHeight) / 2,
                         store.gmyLcdWidth, store.gmyLcdHeight};
    store.status->RedrawPictures();
}

Connection InformationFailed() {
    ShowFailure(kInformationFailed, Store().whyFailed);
    Store().status->SetControlPanlEnable(false);
    return Connection::BadInformation;
}

Connection TableFailed() {
    ShowFailure(kTableFailed, Store().whyFailed);
    return Connection::BadTable;
}

Connection ReadBackFailed(const Error& error) {
    ShowFailure(kReadBackFailed, error.message);
    Store().status->SetDownLoadPrcess(0);
    return Connection::ReadBackFailed;
}

Result<void> ReadPictures() {
    LUMATO_TRY_VOID(PrepareLocalFolders());
    DelAllPicAtStart();
    return ReadPicturesAndRecover();
}

Connection ConnectFrame() {
    StoreState& store = Store();
    if (!GetInformation())
        return InformationFailed();
    CentreDrawRect();
    flash::Flash().m_PtrPF->SynchronizeDPFtime();  // a frame that refuses the clock still shows pictures
    if (!ReadPictureList())
        return TableFailed();
    store.TotolFlashSizeForPic = store.G_FlashTotalSize - PictureAreaStart();
    if (const Result<void> read = ReadPictures(); !read)
        return ReadBackFailed(read.error());
    store.TheSmallestValue = 0;
    return Connection::Online;
}

// The journals on the disk stay for the next connection.
void LeaveJournal() {
    StoreState& store = Store();
    store.blocksAtRisk.clear();
    store.journal.reset();
    store.journalFolder.clear();
    store.lenderFolder.clear();
    store.resuming = false;
}

}  // namespace

Connection LastConnection() {
    return Store().lastConnection;
}

void SetFlashOnline() {
    OnlineOwner owner;
    StoreState& store = Store();
    store.lastConnection = Connection::None;
    store.whyFailed.clear();
    LeaveJournal();
    ShowNote(kDeviceOnline);
    SetFlashObject(std::make_shared<flash::CProcessFlash>(flash::Flash().device));
    store.gmyIsTransferData = true;

    const Connection ended = ConnectFrame();
    store.lastConnection = ended;
    if (ended == Connection::Online)
        owner.PostRefresh();
}

void ReleaseFrame() {
    StoreState& store = Store();
    store.gmyIsTransferData = false;
    ReleaseAllFiles();
    store.gmyTotalePicture = 0;
    LeaveJournal();
    ShowNumbers();
    store.status->RedrawPictures();
    store.status->SetControlPanlEnable(false);
    ShowNote(kDeviceNotOnline);
    SetFlashObject(nullptr);
}

void SetFlashOffline() {
    if (!MarkFrameLost())
        ReleaseFrame();
}

void StoreFramePort::SetFlashOnline() {
    store::SetFlashOnline();
}

void StoreFramePort::SetFlashOffline() {
    store::SetFlashOffline();
}

}  // namespace lumato::store
