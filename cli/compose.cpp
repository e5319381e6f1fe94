// lumatoctl compose: renders a posed picture as an LCD-sized bitmap file.
#include "base/printable.h"
#include "cli/commands.h"
#include "cli/pose_of.h"
#include "picture/add_pictures.h"

namespace lumato::cli {

int RunCompose(const Arguments& arguments, const Output& output) {
    const Size lcd = *arguments.size;
    const Result<Phrase> composed = picture::ComposeFile(arguments.files[0], lcd.width, lcd.height,
                                                         PoseOf(arguments.pose), arguments.files[1]);
    if (!composed) {
        // Errors of writing name the bitmap themselves.
        const Phrase picture = composed.error().cause.empty() ? "" : Printable(arguments.files[0].string());
        return output.Failed(kRefused, Joined(picture, kColon, Described(composed.error())));
    }
    nlohmann::ordered_json json = {{"width", lcd.width}, {"height", lcd.height}};
    if (!composed->empty())
        json["note"] = composed->English();
    output.Result(json, std::to_string(lcd.width) + " x " + std::to_string(lcd.height) + " pixels" +
                            InBrackets(*composed));
    return kDone;
}

}  // namespace lumato::cli
