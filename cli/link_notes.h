// What the link says of frames that cannot be used, on the terminal.
//
// Main thread only.
#pragma once

#include <optional>

#include "cli/terminal_status.h"
#include "store/store.h"

namespace lumato::cli {

class LinkNotes : public store::StoreFramePort {
  public:
    // Requires: the status outlives this object.
    explicit LinkNotes(TerminalStatus& status) : m_status(status) {}

    void ShowLinkError(const Error& error) override;

    // The first thing that went wrong: why there is no frame, when there is none.
    [[nodiscard]] const std::optional<Error>& FirstError() const { return m_firstError; }

  private:
    TerminalStatus& m_status;
    std::optional<Error> m_firstError;
};

}  // namespace lumato::cli
