// lumatoctl dump and verify: a frame's whole flash as a file, and compared with one. There is no way back:
// the flash holds the firmware of this unit, in its version, and a frame that was given another one's does
// not start again.
#include <algorithm>
#include <cstdio>

#include "base/printable.h"
#include "cli/commands.h"
#include "cli/look.h"

namespace lumato::cli {
int RunDump(const Arguments& arguments, const Output& output) {
    const Path& file = arguments.files.front();
    const auto look = Look::OpenOne(arguments);
    if (!look)
        return output.Failed(look.error());
    const auto flash = (*look)->ReadFlash();
    if (!flash)
        return output.Failed(kRefused, flash.error().message);
    if (const Result<void> written = WriteFile(file, *flash); !written)
        return output.Failed(kRefused, written.error().message);
    const auto size = static_cast<long long>(flash->size());
    output.Result({{"bytes", size}}, Grouped(size) + " bytes of flash in " + Printable(file.native()));
    return kDone;
}

int RunVerify(const Arguments& arguments, const Output& output) {
    const Path& file = arguments.files.front();
    const auto expected = ReadFile(file);
    if (!expected)
        return output.Failed(kRefused, expected.error().message);
    const auto look = Look::OpenOne(arguments);
    if (!look)
        return output.Failed(look.error());
    const auto flash = (*look)->ReadFlash();
    if (!flash)
        return output.Failed(kRefused, flash.error().message);
    if (*flash == *expected) {
        output.Result({{"equal", true}, {"differs_at", nullptr}},
                      "the flash is as " + Printable(file.native()) + " says");
        return kDone;
    }
    const auto at = std::distance(flash->begin(), std::ranges::mismatch(*flash, *expected).in1);
    char place[24];
    std::snprintf(place, sizeof place, "0x%06lX", static_cast<unsigned long>(at));
    output.Result({{"equal", false}, {"differs_at", at}},
                  "the flash differs from " + Printable(file.native()) + " from " + place + " on; it has " +
                      Grouped(static_cast<long long>(flash->size())) + " bytes, the file " +
                      Grouped(static_cast<long long>(expected->size())));
    return kRefused;
}

}  // namespace lumato::cli
