// lumatoctl check: reads the stored pictures back and says which are what was written; with --mend, damaged
// ones get their bytes back.
#include <algorithm>

#include "backup/backup_file.h"
#include "base/printable.h"
#include "cli/commands.h"
#include "cli/session.h"
#include "picture/stream_made_anew.h"
#include "store/mend_pictures.h"

namespace lumato::cli {
namespace {

using store::CheckedPicture;
using store::CheckReport;
using store::PictureHealth;

const char* HealthName(PictureHealth health) {
    switch (health) {
        case PictureHealth::Good:
            return "good";
        case PictureHealth::Damaged:
            return "damaged";
        case PictureHealth::Mended:
            return "mended";
        case PictureHealth::Unknown:
            break;
    }
    return "unknown";
}

int CountOf(const CheckReport& report, PictureHealth health) {
    return static_cast<int>(std::ranges::count(report.pictures, health, &CheckedPicture::health));
}

const char* TableState(const store::CheckedTable& table) {
    return table.mended ? "mended" : table.good ? "good" : "damaged";
}

bool IsDamaged(const CheckReport& report) {
    return !report.table.good || CountOf(report, PictureHealth::Damaged) > 0;
}

std::string HealthText(const CheckReport& report) {
    const std::vector<CheckedPicture>& pictures = report.pictures;
    const auto count = [&](PictureHealth health) { return CountOf(report, health); };
    std::string text = Count(static_cast<long long>(pictures.size()), "picture") +
                       " read back: " + std::to_string(count(PictureHealth::Good)) + " good, " +
                       std::to_string(count(PictureHealth::Damaged)) + " damaged, " +
                       std::to_string(count(PictureHealth::Unknown)) + " unknown";
    if (const int mended = count(PictureHealth::Mended); mended > 0)
        text += ", " + std::to_string(mended) + " mended";
    text += std::string("; the picture table is ") + TableState(report.table);
    if (!report.table.reason.empty())
        text += ": " + report.table.reason.English();
    if (report.table.readUneven)
        text += " (two reads of it differed: check the cable)";
    for (const CheckedPicture& picture : pictures) {
        if (picture.health == PictureHealth::Good && !picture.readUneven)
            continue;
        text += "\n" + std::to_string(picture.position) + "  " + HealthName(picture.health);
        if (!picture.name.empty())
            text += "  " + Printable(picture.name);
        if (!picture.reason.empty())
            text += ": " + Printable(picture.reason.English());
        if (picture.readUneven)
            text += " (two reads of it differed: check the cable)";
    }
    return text;
}

nlohmann::ordered_json AsJson(const CheckReport& report) {
    nlohmann::ordered_json json = nlohmann::ordered_json::array();
    for (const CheckedPicture& picture : report.pictures) {
        json.push_back(
            {{"position", picture.position}, {"state", HealthName(picture.health)}, {"name", picture.name}});
        if (!picture.reason.empty())
            json.back()["reason"] = picture.reason.English();
    }
    nlohmann::ordered_json answer = {{"pictures", json}, {"table", TableState(report.table)}};
    if (!report.table.reason.empty())
        answer["table_reason"] = report.table.reason.English();
    AddRetries(answer);
    return answer;
}

// What the backup has comes first: it is what was on the frame.
store::StreamSource SourceOf(const backup::Backup& backup) {
    return [&backup](const Digest& hash, std::int32_t length) -> std::optional<backup::Stream> {
        const auto found = std::ranges::find_if(backup.pictures, [&](const backup::BackedUpPicture& picture) {
            return picture.hash == hash && !picture.stream.empty();
        });
        if (found != backup.pictures.end())
            return backup::Stream(found->stream.begin(), found->stream.end());
        return picture::StreamMadeAnew(hash, length);
    };
}

tl::expected<void, Failure> Mend(Session& session, CheckReport& report, const backup::Backup& backup) {
    const Result<int> found = store::PrepareMending(report, SourceOf(backup));
    if (!found)
        return tl::unexpected<Failure>(Failure{kRefused, found.error().message.English()});
    if (*found == 0)
        return {};
    if (auto done = session.Download(); !done)
        return done;
    store::NoteMended(report);
    return {};
}

}  // namespace

int RunCheck(const Arguments& arguments, const Output& output) {
    Result<backup::Backup> backup = arguments.from ? backup::ReadBackup(*arguments.from) : backup::Backup();
    if (!backup)
        return output.Failed(kRefused, backup.error().message);
    const auto session =
        Session::Connect(arguments, arguments.mend ? Session::Purpose::Change : Session::Purpose::Look);
    if (!session)
        return output.Failed(session.error());
    Result<CheckReport> report = lumato::Fail(ErrorKind::Busy, "the frame is busy");
    (*session)->Work([&] { report = store::CheckPictures(); });
    (*session)->WarnOfLink();
    if (!report)
        return output.Failed(kRefused, report.error().message);
    if (report->stopped)
        return output.Failed(
            {kRefused, Phrase("", "stopped after {}", PicturesOf(static_cast<int>(report->pictures.size()))),
             true});
    if (arguments.mend && IsDamaged(*report)) {
        if (const auto mended = Mend(**session, *report, *backup); !mended)
            return output.Failed(mended.error());
    }
    output.Result(AsJson(*report), HealthText(*report));
    return IsDamaged(*report) ? kRefused : kDone;
}

}  // namespace lumato::cli
