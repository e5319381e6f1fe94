#include "store/transfer.h"

#include "flash/process_flash.h"
#include "store/connect.h"
#include "store/store.h"

namespace lumato::store {
namespace {

using Lock = std::unique_lock<std::mutex>;

// All three require the transfer's mutex.

bool IsTaken(const TransferState& transfer) {
    return transfer.running || transfer.announced > 0;
}

bool FrameIsThere() {
    const auto& flash = flash::Flash().m_PtrPF;
    return flash != nullptr && flash->Frame().IsThere();
}

bool FrameIsReleased() {
    const auto& flash = flash::Flash().m_PtrPF;
    return flash != nullptr && flash->Frame().IsReleased();
}

}  // namespace

bool FrameOnline() {
    const Lock lock(Store().transfer.mutex);
    return FrameIsThere();
}

std::chrono::seconds FrameSilence() {
    const Lock lock(Store().transfer.mutex);
    return FrameIsThere() && Store().transfer.running ? flash::Flash().m_PtrPF->Frame().Silence()
                                                      : std::chrono::seconds(0);
}

bool StartTransfer() {
    TransferState& transfer = Store().transfer;
    const Lock lock(transfer.mutex);
    if (IsTaken(transfer))
        return false;
    transfer.running = true;
    transfer.stopRequested = false;
    return true;
}

void RequestStop() {
    Store().transfer.stopRequested = true;
}

bool StopRequested() {
    TransferState& transfer = Store().transfer;
    const Lock lock(transfer.mutex);
    return transfer.running && transfer.stopRequested;
}

void BeginOnline() {
    TransferState& transfer = Store().transfer;
    const Lock lock(transfer.mutex);
    ++transfer.announced;
    transfer.stopRequested = false;
}

bool TransferRunning() {
    TransferState& transfer = Store().transfer;
    const Lock lock(transfer.mutex);
    return IsTaken(transfer);
}

bool FinishTransfer() {
    TransferState& transfer = Store().transfer;
    {
        const Lock lock(transfer.mutex);
        if (IsTaken(transfer))
            return false;
        if (!FrameIsReleased())
            return FrameIsThere() && LastConnection() == Connection::Online;
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
        lost = FrameIsReleased();
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
        --transfer.announced;
    }
    if (flash::Flash().m_PtrPF != nullptr)
        ReleaseFrame();
    Store().removal.Join();  // before files of the same names come
}

}  // namespace lumato::store
