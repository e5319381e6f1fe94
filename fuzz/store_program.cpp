#include "fuzz/store_program.h"

#include "base/diagnostics.h"
#include "flash/process_flash.h"
#include "picture/picture_state.h"
#include "platform/services.h"
#include "text/localized.h"

namespace lumato::fuzz {

StoreProgram::StoreProgram(const Path& home, const Path& stateFolder) {
    SetDiagnosticStream(nullptr);
    text::SetLanguageFile(home / "Language.ini");
    platform::CurrentServices() = {&m_bus, nullptr, &m_clock};
    store::StoreState& store = store::Store();
    store.gmyResousepath = home;
    store.statePath = stateFolder;
    store.status = &m_status;
    store.MyJPG = &m_codec;
    device::Link().frame = &m_port;
    m_link = std::make_unique<device::CCommUSB>();
    m_link->IniUSBDevice();
}

// The order of a shutdown: first the flash object, then the pictures, then the link.
StoreProgram::~StoreProgram() {
    device::Link().task.Join();
    flash::Flash().m_PtrPF.reset();
    store::ReleaseAllFiles();
    m_link->DevClose();
    device::ResetLink();
    flash::ResetFlash();
    picture::ResetPictures();
    store::ResetStore();
    platform::CurrentServices() = {};
}

void StoreProgram::Settle() {
    device::Link().task.Join();
    m_bus.DeliverEvents();
    store::FinishTransfer();
}

bool IsOnline() {
    return store::FrameOnline() && store::LastConnection() == store::Connection::Online;
}

bool DownloadNow(vframe::VirtualBus& bus) {
    if (!store::BeginDownload())
        return false;
    bool done = false;
    platform::Task task([&done] { done = store::TranspotPic(); });
    task.Join();
    bus.DeliverEvents();
    store::FinishTransfer();
    return done;
}

}  // namespace lumato::fuzz
