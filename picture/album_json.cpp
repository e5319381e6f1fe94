#include "picture/album_json.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <optional>
#include <string>
#include <string_view>

#include <nlohmann/json.hpp>

namespace lumato::picture {
namespace {

using Json = nlohmann::json;

constexpr const char* kWholeFit = "whole";
constexpr std::string_view kFile = "file://";
constexpr int kBestQuality = 100;
constexpr std::string_view kHexDigits = "0123456789ABCDEF";

// As RFC 3986 has it: a name can have any bytes, and need not be UTF-8.
std::string UriOf(const Path& file) {
    std::string uri(kFile);
    for (const char c : file.native()) {
        const auto byte = static_cast<unsigned char>(c);
        const bool plain =
            std::isalnum(byte) != 0 || std::string_view("/-._~").find(c) != std::string_view::npos;
        if (plain && byte < 0x80)
            uri += c;
        else
            (uri += '%').append({kHexDigits[byte / 16], kHexDigits[byte % 16]});
    }
    return uri;
}

// Empty for what UriOf() does not make.
Path FileOf(std::string_view uri) {
    std::string name;
    if (!uri.starts_with(kFile))
        return {};
    for (std::size_t i = kFile.size(); i < uri.size(); ++i) {
        if (uri[i] != '%') {
            name += uri[i];
            continue;
        }
        const std::size_t high = i + 2 < uri.size() ? kHexDigits.find(uri[i + 1]) : std::string_view::npos;
        const std::size_t low = i + 2 < uri.size() ? kHexDigits.find(uri[i + 2]) : std::string_view::npos;
        if (high == std::string_view::npos || low == std::string_view::npos || high + low == 0)
            return {};
        name += static_cast<char>(high * 16 + low);
        i += 2;
    }
    return name;
}

Json PoseToJson(const Pose& pose) {
    Json json = Json::object();
    const auto put = [&](const char* name, const std::optional<int>& value) {
        if (value)
            json[name] = *value;
    };
    put("rotate", pose.rotate);
    put("scale", pose.scale);
    put("x", pose.x);
    put("y", pose.y);
    if (pose.rect)
        json["rect"] = {pose.rect->x, pose.rect->y, pose.rect->width, pose.rect->height};
    if (pose.fit == Fit::Whole)
        json["fit"] = kWholeFit;
    return json;
}

Pose PoseFromJson(const Json& json) {
    const auto take = [&](const char* name) {
        return json.contains(name) ? std::optional(json.at(name).get<int>()) : std::nullopt;
    };
    Pose pose{.rotate = take("rotate"), .scale = take("scale"), .x = take("x"), .y = take("y")};
    if (json.contains("rect")) {
        const auto rect = json.at("rect").get<std::array<float, 4>>();
        pose.rect = store::Rect{rect[0], rect[1], rect[2], rect[3]};
    }
    if (json.value("fit", std::string()) == kWholeFit)
        pose.fit = Fit::Whole;
    return pose;
}

}  // namespace

Json EntryToJson(const AlbumEntry& entry) {
    return {{"source", UriOf(entry.source)}, {"added", entry.added},
            {"quality", entry.quality},      {"size", entry.size},
            {"modified", entry.modified},    {"pose", PoseToJson(entry.pose)}};
}

AlbumEntry EntryFromJson(const Json& json) {
    AlbumEntry entry{FileOf(json.at("source").get<std::string>()), PoseFromJson(json.at("pose")),
                     json.at("added").get<std::int64_t>(),         json.at("quality").get<int>(),
                     json.value("size", std::int64_t{0}),          json.value("modified", std::int64_t{0})};
    if (!entry.source.is_absolute())
        entry.source.clear();
    // Qualities are walked down step by step: one that no encoder knows would take forever.
    entry.quality = std::clamp(entry.quality, 0, kBestQuality);
    return entry;
}

}  // namespace lumato::picture
