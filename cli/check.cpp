// lumatoctl check: reads the stored pictures back and says which are what was written. Nothing is written.
#include <algorithm>

#include "base/printable.h"
#include "cli/commands.h"
#include "cli/session.h"
#include "cli/stop_on_signal.h"
#include "store/check_pictures.h"

namespace lumato::cli {
namespace {

using store::CheckedPicture;
using store::PictureHealth;

const char* HealthName(PictureHealth health) {
    switch (health) {
        case PictureHealth::Good:
            return "good";
        case PictureHealth::Damaged:
            return "damaged";
        case PictureHealth::Unknown:
            break;
    }
    return "unknown";
}

std::string HealthText(const std::vector<CheckedPicture>& pictures) {
    const auto count = [&](PictureHealth health) {
        return std::ranges::count(pictures, health, &CheckedPicture::health);
    };
    std::string text = Count(static_cast<long long>(pictures.size()), "picture") +
                       " read back: " + std::to_string(count(PictureHealth::Good)) + " good, " +
                       std::to_string(count(PictureHealth::Damaged)) + " damaged, " +
                       std::to_string(count(PictureHealth::Unknown)) + " unknown";
    for (const CheckedPicture& picture : pictures) {
        if (picture.health == PictureHealth::Good && !picture.readUneven)
            continue;
        text += "\n" + std::to_string(picture.position) + "  " + HealthName(picture.health);
        if (!picture.name.empty())
            text += "  " + Printable(picture.name);
        if (!picture.reason.empty())
            text += ": " + Printable(picture.reason);
        if (picture.readUneven)
            text += " (two reads of it differed: check the cable)";
    }
    return text;
}

}  // namespace

int RunCheck(const Arguments& arguments, const Output& output) {
    const auto session = Session::Connect(arguments, Session::Purpose::Look);
    if (!session)
        return output.Failed(session.error());
    if (!store::StartTransfer())
        return output.Failed(kRefused, "the frame is busy");
    const StopOnSignal stopping;
    if (StopOnSignal::HasCome())
        store::RequestStop();
    const auto report = store::CheckPictures();
    store::FinishTransfer();
    (*session)->Status().ClearBar();
    if (!report)
        return output.Failed(kRefused, report.error().message);
    nlohmann::ordered_json json = nlohmann::ordered_json::array();
    for (const CheckedPicture& picture : report->pictures) {
        json.push_back(
            {{"position", picture.position}, {"state", HealthName(picture.health)}, {"name", picture.name}});
        if (!picture.reason.empty())
            json.back()["reason"] = picture.reason;
    }
    if (report->stopped)
        return output.Failed(
            kRefused, "stopped after " + Count(static_cast<long long>(report->pictures.size()), "picture"));
    output.Result({{"pictures", json}}, HealthText(report->pictures));
    const bool damaged =
        std::ranges::count(report->pictures, PictureHealth::Damaged, &CheckedPicture::health) > 0;
    return damaged ? kRefused : kDone;
}

}  // namespace lumato::cli
