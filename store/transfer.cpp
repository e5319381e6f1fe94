#include "store/transfer.h"

#include "flash/process_flash.h"
#include "store/connect.h"
#include "store/store.h"

namespace lumato::store {
namespace {

using Lock = std::unique_lock<std::mutex>;

}  // namespace

bool FrameOnline() {
    device::CCommUSB* link = flash::Flash().device;
    return link != nullptr && link->GetUSBDeviceStatus();
}

bool StartTransfer() {
    TransferState& transfer = Store().transfer;
    const Lock lock(transfer.mutex);
    if (transfer.running)
        return false;
    transfer.running = true;
    return true;
}

bool TransferRunning() {
    TransferState& transfer = Store().transfer;
    const Lock lock(transfer.mutex);
    return transfer.running;
}

bool FinishTransfer() {
    TransferState& transfer = Store().transfer;
    {
        const Lock lock(transfer.mutex);
        if (transfer.running)
            return false;
        if (!transfer.frameLost)
            return FrameOnline() && LastConnection() == Connection::Online;
        transfer.frameLost = false;
    }
    ReleaseFrame();
    return false;
}

TransferOwner::TransferOwner() {
    TransferState& transfer = Store().transfer;
    const Lock lock(transfer.mutex);
    transfer.running = true;
}

TransferOwner::~TransferOwner() {
    TransferState& transfer = Store().transfer;
    StatusPort* status = Store().status;
    bool lost = false;
    Store().gmyIsTransferData = false;
    {
        const Lock lock(transfer.mutex);
        transfer.running = false;
        lost = transfer.frameLost;
        transfer.ended.notify_all();
    }
    if (m_refresh || lost)
        status->InvalidateMyWindow();
}

OnlineOwner::OnlineOwner() : TransferOwner(Waiting{}) {
    TransferState& transfer = Store().transfer;
    {
        Lock lock(transfer.mutex);
        transfer.ended.wait(lock, [&] { return !transfer.running; });
        transfer.running = true;
        // The new frame may be gone by now, too. The link marks it offline before it reports that, so a mark
        // found while it is online is the last frame's.
        if (!transfer.frameLost || !FrameOnline())
            return;
        transfer.frameLost = false;
    }
    ReleaseFrame();
}

bool MarkFrameLost() {
    TransferState& transfer = Store().transfer;
    const Lock lock(transfer.mutex);
    if (!transfer.running)
        return false;
    transfer.frameLost = true;
    // Another frame may take the link over before the task has noticed: nothing of this one may reach it.
    if (flash::Flash().m_PtrPF != nullptr)
        flash::Flash().m_PtrPF->Retire();
    return true;
}

}  // namespace lumato::store
