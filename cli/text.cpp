// lumatoctl text: what the language file gives for a key.
#include "cli/commands.h"
#include "platform/linux/folders.h"
#include "text/localized.h"

namespace lumato::cli {

int RunText(const Arguments& arguments, const Output& output) {
    text::SetLanguageFile(platform::ResourcesFolder(arguments.home) / "Language.ini");
    const std::string found = arguments.section
                                  ? text::LookUp(*arguments.section, arguments.key, arguments.defaultText)
                                  : text::Localized(arguments.key, arguments.defaultText);
    output.Result({{"text", found}}, found);
    return kDone;
}

}  // namespace lumato::cli
