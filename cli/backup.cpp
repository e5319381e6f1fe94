// lumatoctl backup: the frame's pictures in one file. The frame is only read.
#include "backup/back_up_frame.h"
#include "base/printable.h"
#include "cli/commands.h"
#include "cli/session.h"

namespace lumato::cli {
namespace {

tl::expected<void, Failure> CheckFree(const Path& file, bool force) {
    std::error_code ignored;
    const auto status = std::filesystem::symlink_status(file, ignored);
    if (!std::filesystem::exists(status) || (force && !std::filesystem::is_directory(status)))
        return {};
    return tl::unexpected<Failure>(
        Failure{kRefused, Phrase("", "{} is there already; --force replaces it", Printable(file.native()))});
}

std::string Described(const backup::FrameBackup& frame, const Path& file) {
    std::string text = Count(static_cast<long long>(frame.backup.pictures.size()), "picture") +
                       " backed up in " + Printable(file.native());
    if (frame.unreadable > 0)
        text += "; " + Count(frame.unreadable, "picture") +
                " of the frame cannot be read (see `lumatoctl check`)";
    return text;
}

}  // namespace

int RunBackup(const Arguments& arguments, const Output& output) {
    const Path& file = arguments.files.front();
    if (const auto free = CheckFree(file, arguments.force); !free)
        return output.Failed(free.error());
    const auto session = Session::Connect(arguments, Session::Purpose::Look);
    if (!session)
        return output.Failed(session.error());
    Result<backup::FrameBackup> frame = lumato::Fail(ErrorKind::Busy, "the frame is busy");
    (*session)->Work([&] { frame = backup::BackUpFrame(); });
    if (!frame)
        return output.Failed(kRefused, frame.error().message);
    // Reading took a while.
    if (const auto free = CheckFree(file, arguments.force); !free)
        return output.Failed(free.error());
    if (const auto written = backup::WriteBackup(file, frame->backup); !written)
        return output.Failed(kRefused, written.error().message);
    nlohmann::ordered_json json = {{"pictures", frame->backup.pictures.size()},
                                   {"unreadable", frame->unreadable}};
    AddRetries(json);
    output.Result(json, Described(*frame, file));
    return frame->unreadable > 0 ? kRefused : kDone;
}

}  // namespace lumato::cli
