// What may leave the computer: texts without the names of files, of the user and of the computer. Names that
// are known to be files' come out as "file 1", "file 2" and so on, the same name under the same number.
//
// Callable from any thread.
#pragma once

#include <string>
#include <string_view>

#include "base/phrase.h"

namespace lumato {

// From now on the name, as it was given and as it is printed, is a file's; so is its last part.
void HideFileName(std::string_view name);

// Learns the user's name, the home folder and the computer's name. Looks nothing up that could wait.
void HideUser();

// Without all those names, and, from what looks like a path to the end of its line, without the rest; device
// nodes excepted.
[[nodiscard]] std::string WithoutNames(std::string_view text);
[[nodiscard]] inline std::string WithoutNames(const std::string& text) {
    return WithoutNames(std::string_view(text));
}

// The same of a phrase: of what is given in it only what the system says of an error stays.
[[nodiscard]] std::string WithoutNames(const Phrase& phrase);

}  // namespace lumato
