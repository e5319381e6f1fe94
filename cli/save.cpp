// lumatoctl save: copies the frame's pictures as numbered bitmaps.
#include "base/printable.h"
#include "cli/commands.h"
#include "cli/session.h"

namespace lumato::cli {

int RunSave(const Arguments& arguments, const Output& output) {
    const auto session = Session::Connect(arguments, Session::Purpose::Look);
    if (!session)
        return output.Failed(session.error());

    const Path& folder = arguments.files.front();
    std::error_code error;
    std::filesystem::create_directories(folder, error);
    if (error)
        return output.Failed(kRefused, Printable(folder.string()) + ": " + error.message());
    const store::SaveReport report = store::SavePictures(folder);
    for (const Error& failed : report.failed)
        Output::Complain(failed.message);
    output.Result({{"saved", report.saved}},
                  Count(report.saved, "picture") + " saved in " + Printable(folder.string()));
    return report.failed.empty() ? kDone : kRefused;
}

}  // namespace lumato::cli
