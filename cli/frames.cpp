// lumatoctl frames: every frame that is there, looked at and left as it is.
#include <algorithm>

#include "base/printable.h"
#include "cli/bus_filter.h"
#include "cli/commands.h"
#include "cli/look.h"
#include "platform/linux/folders.h"
#include "platform/linux/mount_table.h"
#include "store/picture_table.h"
#include "store/recovery.h"
#include "store/store.h"

namespace lumato::cli {
namespace {

struct Facts {
    std::string node;
    std::string serial;  // what tells it from others of its model; empty where nothing is known
    std::string volume;  // where its little volume is mounted; empty: nowhere
    std::string reason;  // why nothing more is known; empty when it is
    int lcdWidth = 0, lcdHeight = 0, flashSize = 0, pictures = 0;
    bool due = false;
};

// Where a disk behind this node is mounted, whole or by its first partition.
std::string VolumeOf(const std::string& node) {
    const Path disks = Path("/sys/class/scsi_generic") / Path(node).filename() / "device/block";
    std::error_code error;
    std::filesystem::directory_iterator disk(disks, error);
    const auto table = ReadFile("/proc/self/mountinfo");
    if (error || disk == std::filesystem::directory_iterator() || !table)
        return {};
    const std::string source = "/dev/" + disk->path().filename().string();
    const std::string_view text(reinterpret_cast<const char*>(table->data()), table->size());
    for (const platform::Mount& mount : platform::ParseMountTable(text)) {
        if (mount.source == source || mount.source == source + "1")
            return mount.root.string();
    }
    return {};
}

// Nothing for a device that turns out to be none.
std::optional<Facts> LookAt(Look& look, platform::BusService& service, const std::optional<Path>& home) {
    Facts facts;
    facts.node = service.Name();
    facts.serial = service.Individual();
    if (IsDeviceNode(facts.node))
        facts.volume = VolumeOf(facts.node);
    const Result<bool> opened = look.Open(service);
    if (!opened)
        facts.reason = opened.error().message.English();
    if (!opened || !*opened)
        return opened ? std::nullopt : std::optional(facts);
    store::StoreState& state = store::Store();
    facts.lcdWidth = state.geometry.lcdWidth;
    facts.lcdHeight = state.geometry.lcdHeight;
    facts.flashSize = state.geometry.flashSize;
    facts.pictures = store::CountStored(state.G_PictureList);
    state.statePath = platform::StateFolder(home);
    if (const Result<bool> due = store::LooksDue())
        facts.due = *due;
    else
        facts.reason = due.error().message.English();
    look.Close();
    return facts;
}

nlohmann::ordered_json AsJson(const Facts& facts) {
    const auto text = [](const std::string& value) {
        return value.empty() ? nlohmann::ordered_json() : nlohmann::ordered_json(value);
    };
    nlohmann::ordered_json json = {{"node", facts.node}};
    if (facts.reason.empty())
        json.update({{"lcd_width", facts.lcdWidth},
                     {"lcd_height", facts.lcdHeight},
                     {"flash_size", facts.flashSize},
                     {"pictures", facts.pictures},
                     {"due", facts.due}});
    else
        json["reason"] = facts.reason;
    json["serial"] = text(facts.serial);
    json["volume"] = text(facts.volume);
    return json;
}

std::string AsText(const Facts& facts) {
    std::string text = Printable(facts.node) + "  ";
    if (!facts.reason.empty())
        return text + Printable(facts.reason);
    text += std::to_string(facts.lcdWidth) + " x " + std::to_string(facts.lcdHeight) + ", " +
            Grouped(facts.flashSize) + " bytes of flash, " + Count(facts.pictures, "picture");
    if (facts.due)
        text += ", a download is due";
    if (!facts.serial.empty())
        text += "; " + Printable(facts.serial);
    if (!facts.volume.empty())
        text += "; mounted at " + Printable(facts.volume);
    return text;
}

}  // namespace

int RunFrames(const Arguments& arguments, const Output& output) {
    const auto look = Look::Search(arguments, Look::At::AllFrames);
    if (!look)
        return output.Failed(look.error());
    std::vector<Facts> frames;
    if (const auto& inUse = (*look)->VirtualFrameInUse()) {
        frames.emplace_back();
        frames.back().node = arguments.frame->string();
        frames.back().reason = inUse->message.English();
    }
    for (platform::BusService* service : (*look)->Found()) {
        if (auto facts = LookAt(**look, *service, arguments.home))
            frames.push_back(std::move(*facts));
    }
    nlohmann::ordered_json json = nlohmann::ordered_json::array();
    std::string text;
    for (const Facts& facts : frames) {
        json.push_back(AsJson(facts));
        text += (text.empty() ? "" : "\n") + AsText(facts);
    }
    if (frames.empty())
        Output::Complain("no frame found: there is none on the USB bus; --frame FILE names a virtual one");
    output.Result({{"frames", json}}, frames.empty() ? "0 frames" : text);
    return frames.empty() ? kNoFrame : kDone;
}

}  // namespace lumato::cli
