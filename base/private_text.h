// What may leave the computer: texts without the names of files, of the user and of the computer. Names that
// are known to be files' come out as "file 1", "file 2" and so on, the same name under the same number.
//
// Callable from any thread.
#pragma once

#include <string>
#include <string_view>

#include "base/phrase.h"

namespace lumato {

// From now on the name, as it was given, is a file's; so is its last part, and each line of several.
void HideFileName(std::string_view name);

// Learns the user's name, the home folder and the computer's name. Looks nothing up that could wait.
void HideUser();

// Without all those names, and without what looks like a path, device nodes excepted.
[[nodiscard]] std::string WithoutNames(std::string_view text);
[[nodiscard]] inline std::string WithoutNames(const std::string& text) {
    return WithoutNames(std::string_view(text));
}

// The same of a phrase: of its values only numbers and what the system says of an error stay.
[[nodiscard]] std::string WithoutNames(const Phrase& phrase);

}  // namespace lumato
