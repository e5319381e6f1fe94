// lumatoctl dump and verify: a frame's whole flash as a file, and compared with one. There is no way back:
// the flash holds the firmware of this unit, in its version, and a frame that was given another one's does
// not start again.
#include <algorithm>
#include <cstdio>

#include "base/printable.h"
#include "cli/commands.h"
#include "cli/look.h"
#include "store/store.h"

namespace lumato::cli {
namespace {

int SayDifference(const Output& output, const Path& file, std::intmax_t at, std::intmax_t flashSize,
                  std::intmax_t fileSize) {
    char place[24];
    std::snprintf(place, sizeof place, "0x%06jX", static_cast<std::uintmax_t>(at));
    output.Result({{"equal", false}, {"differs_at", at}},
                  "the flash differs from " + Printable(file.native()) + " from " + place + " on; it has " +
                      Grouped(flashSize) + " bytes, the file " + Grouped(fileSize));
    return kRefused;
}

}  // namespace

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
    const auto look = Look::OpenOne(arguments);
    if (!look)
        return output.Failed(look.error());
    const std::intmax_t flashSize = store::Store().geometry.flashSize;
    const auto expected = ReadPlainFile(file, static_cast<std::uintmax_t>(flashSize));
    std::error_code unknown;
    const auto fileSize = static_cast<std::intmax_t>(std::filesystem::file_size(file, unknown));
    if (!expected && (expected.error().kind != ErrorKind::TooLarge || unknown))
        return output.Failed(kRefused, expected.error().message);
    // Reading the flash takes its time, and would make no dump of another size this frame's.
    if (fileSize != flashSize)
        return SayDifference(output, file, std::min(fileSize, flashSize), flashSize, fileSize);
    const auto flash = (*look)->ReadFlash();
    if (!flash)
        return output.Failed(kRefused, flash.error().message);
    if (*flash == *expected) {
        output.Result({{"equal", true}, {"differs_at", nullptr}},
                      "the flash is as " + Printable(file.native()) + " says");
        return kDone;
    }
    const auto at = std::distance(flash->begin(), std::ranges::mismatch(*flash, *expected).in1);
    return SayDifference(output, file, at, flashSize, fileSize);
}

}  // namespace lumato::cli
