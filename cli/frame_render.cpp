// lumatoctl frame render: what a virtual frame would show, found in its flash by the frame's own reading.
#include "cli/commands.h"
#include "import/import.h"
#include "vframe/display.h"
#include "vframe/flash_image.h"

namespace lumato::cli {

int RunFrameRender(const Arguments& arguments, const Output& output) {
    const Result<std::vector<std::uint8_t>> flash = vframe::ReadFlashImage(arguments.files[0]);
    if (!flash)
        return output.Failed(kNoFrame, flash.error().message);
    const Result<vframe::Display> display = vframe::Display::PowerOn(*flash);
    if (!display)
        return output.Failed(kRefused, display.error().message);
    const Result<vframe::Screen> screen = display->Show(static_cast<std::size_t>(arguments.position));
    if (!screen)
        return output.Failed(kRefused, screen.error().message);
    if (const Result<void> written =
            picture::WritePng(arguments.files[1], screen->width, screen->height, screen->pixels);
        !written)
        return output.Failed(kRefused, written.error().message);
    output.Result({{"width", screen->width}, {"height", screen->height}},
                  std::to_string(screen->width) + " x " + std::to_string(screen->height) + " pixels");
    return kDone;
}

}  // namespace lumato::cli
