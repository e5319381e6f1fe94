// File names and foreign texts as they may be shown: a name can hold a line break, a terminal's control
// sequence or marks that turn the reading direction, and none of these may reach a terminal or a label.
//
// No state; callable from any thread.
#pragma once

#include <string>
#include <string_view>

namespace lumato {

// `bytes` with its printable UTF-8 kept and everything else written out: "\n", "\t" and "\r" for these three,
// "\xNN" for each byte of other control characters (C0, DEL, C1), of line and paragraph separators, of bidi
// embeddings, overrides and isolates, and for bytes that are not UTF-8. The result is valid UTF-8 on one
// line. It is for reading only: a backslash stays single, so a name cannot be made from it again.
[[nodiscard]] std::string Printable(std::string_view bytes);

}  // namespace lumato
