#include "cli/link_notes.h"

namespace lumato::cli {

void LinkNotes::ShowLinkError(const Error& error) {
    m_status.SetNotes(error.message);
    if (!m_firstError)
        m_firstError = error;
}

}  // namespace lumato::cli
