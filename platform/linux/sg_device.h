// A device behind the kernel's SCSI generic driver.
//
// The handle belongs to the device that was opened and never passes to another one that gets its node later.
// Execute may be called from any thread, one call at a time; IsGone at any moment.
#pragma once

#include <atomic>
#include <memory>

#include "base/file.h"
#include "platform/scsi.h"

namespace lumato::platform {

enum class SgAccess {
    Exclusive,  // for reading and writing, and nobody else may have the node open meanwhile
    Ask,        // for reading: the kernel lets INQUIRY pass and refuses whatever could change something
};

class SgDevice : public ScsiDevice {
  public:
    // Never waits and sends nothing. Errors: Gone (no such node), Busy (the message names who holds it),
    // Refused (no permission), Unreadable.
    [[nodiscard]] static Result<std::unique_ptr<ScsiDevice>> Open(const Path& node, SgAccess access);

    ~SgDevice() override;
    SgDevice(const SgDevice&) = delete;
    SgDevice& operator=(const SgDevice&) = delete;

    [[nodiscard]] ScsiOutcome Execute(const ScsiRequest& request) override;
    [[nodiscard]] bool IsGone() const override { return m_gone; }
    [[nodiscard]] bool WantsIdentityConfirmed() const override { return true; }

  private:
    SgDevice(int fd, Path node) : m_fd(fd), m_node(std::move(node)) {}

    [[nodiscard]] bool HasVanished() const;

    const int m_fd;
    const Path m_node;
    std::atomic<bool> m_gone{false};
};

}  // namespace lumato::platform
