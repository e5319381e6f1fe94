// Which form of the codec's inner loops runs: the plain one, or one of the vector forms of which all but the
// plainest need a certain processor.
//
// All forms give the same bytes. The choice is process-wide; it may be read by any thread, and changed
// while none encodes or decodes.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace lumato::jpeg {

// "plain" and the vector forms that this machine can run, the best one first.
[[nodiscard]] std::vector<std::string> CodecForms();

// For tests and measurements: everything uses this form from now on. Empty: the best one again. False, with
// nothing changed, for a form that this machine cannot run.
bool UseCodecForm(std::string_view name);

// True when the vector forms are to be used.
[[nodiscard]] bool UsesVectors();

}  // namespace lumato::jpeg
