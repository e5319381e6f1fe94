// lumatoctl list: the pictures of the frame, in order.
#include <algorithm>
#include <cstdio>
#include <ctime>

#include "base/printable.h"
#include "cli/commands.h"
#include "cli/session.h"
#include "picture/picture_state.h"
#include "store/picture_table.h"
#include "store/room_left.h"

namespace lumato::cli {
namespace {

struct Row {
    int position;
    std::string name;
    std::optional<std::uint32_t> address;  // none: it waits for a download
    int bytes;
    std::string reason;  // why there is no bitmap of it here; empty: there is one
    std::string source;  // the photograph that it was made from; empty: nobody knows
    std::string added;   // and when
};

std::string TimeText(std::int64_t seconds) {
    const std::time_t time = seconds;
    std::tm utc{};
    char text[32];
    return ::gmtime_r(&time, &utc) != nullptr && std::strftime(text, sizeof text, "%FT%TZ", &utc) > 0 ? text
                                                                                                      : "";
}

std::vector<Row> Rows() {
    store::StoreState& store = store::Store();
    std::vector<Row> rows;
    for (int position = 1; position <= store.gmyTotalePictureNum; ++position) {
        const store::FileData* picture = store::GetNode(store.gmyPictureData.get(), position);
        Row row{
            position, picture->fileName, std::nullopt, picture->picSize, picture->whyNoBitmap.English(), "",
            ""};
        if (picture->inFrame == 1)
            row.address =
                static_cast<std::uint32_t>(store::SlotAddress(store::SlotOf(store.G_PictureList, position)));
        const picture::AlbumEntry* origin =
            picture->streamHash ? picture::Pictures().album.Find(*picture->streamHash) : nullptr;
        if (origin != nullptr) {
            row.source = origin->source.string();
            row.added = TimeText(origin->added);
        }
        rows.push_back(std::move(row));
    }
    return rows;
}

nlohmann::ordered_json AsJson(const std::vector<Row>& rows) {
    nlohmann::ordered_json pictures = nlohmann::ordered_json::array();
    for (const Row& row : rows) {
        nlohmann::ordered_json address = nullptr;
        if (row.address)
            address = *row.address;
        pictures.push_back(
            {{"position", row.position}, {"name", row.name}, {"address", address}, {"bytes", row.bytes}});
        if (!row.reason.empty())
            pictures.back()["reason"] = row.reason;
        if (!row.source.empty()) {
            pictures.back()["source"] = row.source;
            pictures.back()["added"] = row.added;
        }
    }
    nlohmann::ordered_json json = {{"pictures", pictures}};
    if (const auto more = store::RoomForMore())
        json["room_for"] = *more;
    return json;
}

std::string AsText(const std::vector<Row>& rows) {
    std::string text = Count(static_cast<long long>(rows.size()), "picture") + " in the frame";
    if (const std::string room = store::RoomText().English(); !room.empty())
        text += ", " + room;
    for (const Row& row : rows) {
        char address[24] = "waiting ";
        if (row.address)
            std::snprintf(address, sizeof address, "0x%06X", *row.address);
        char line[80];
        std::snprintf(line, sizeof line, "\n%4d  %-8s  %11s bytes  ", row.position, address,
                      Grouped(row.bytes).c_str());
        text += line + Printable(row.name) + (row.source.empty() ? "" : "  " + Printable(row.source)) +
                (row.reason.empty() ? "" : ": " + Printable(row.reason));
    }
    return text;
}

}  // namespace

int RunList(const Arguments& arguments, const Output& output) {
    const auto session = Session::Connect(arguments, Session::Purpose::Look);
    if (!session)
        return output.Failed(session.error());
    const std::vector<Row> rows = Rows();
    (*session)->NoteDownloadDue();
    output.Result(AsJson(rows), AsText(rows));
    return kDone;
}

}  // namespace lumato::cli
