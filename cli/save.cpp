// lumatoctl save: copies the frame's pictures as numbered bitmaps.
#include <algorithm>
#include <set>

#include "base/printable.h"
#include "cli/commands.h"
#include "cli/session.h"

namespace lumato::cli {
namespace {

// As the list names it, with a number where two have one name.
std::string OriginalName(const std::string& name, std::set<std::string>& taken) {
    const Path path = name;
    std::string unique = name;
    for (int number = 2; !taken.insert(unique).second; ++number)
        unique = path.stem().string() + "-" + std::to_string(number) + path.extension().string();
    return unique;
}

store::SaveName NamesFor(const Arguments& arguments) {
    return [positions = std::set(arguments.positions.begin(), arguments.positions.end()),
            original = arguments.originalNames, taken = std::set<std::string>()](
               int position, const store::FileData& picture) mutable -> std::optional<std::string> {
        if (!positions.empty() && !positions.contains(position))
            return std::nullopt;
        return original ? OriginalName(picture.fileName, taken) : store::NumberedName(position, picture);
    };
}

}  // namespace

int RunSave(const Arguments& arguments, const Output& output) {
    const auto session = Session::Connect(arguments, Session::Purpose::Look);
    if (!session)
        return output.Failed(session.error());

    const int pictures = store::Store().gmyTotalePictureNum;
    const auto highest = std::ranges::max_element(arguments.positions);
    if (highest != arguments.positions.end() && *highest > pictures)
        return output.Failed(NoSuchPicture(*highest, pictures, "nothing was saved"));
    const Path& folder = arguments.files.front();
    std::error_code error;
    std::filesystem::create_directories(folder, error);
    if (error)
        return output.Failed(kRefused, About(Printable(folder.string()), error.message()));
    const store::SaveReport report = store::SavePictures(folder, NamesFor(arguments));
    for (const Error& failed : report.failed)
        Output::Complain(failed.message);
    const std::string replaced = store::ReplacedText(report).English();
    output.Result({{"saved", report.saved}, {"replaced", report.replaced.size()}},
                  Count(report.saved, "picture") + " saved in " + Printable(folder.string()) +
                      (replaced.empty() ? "" : "; " + replaced));
    return report.failed.empty() ? kDone : kRefused;
}

}  // namespace lumato::cli
