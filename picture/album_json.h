// An album's entry as JSON: in the album itself, and in backups.
//
// No state; callable from any thread.
#pragma once

#include <nlohmann/json_fwd.hpp>

#include "picture/album.h"

namespace lumato::picture {

[[nodiscard]] nlohmann::json EntryToJson(const AlbumEntry& entry);
// Throws what the library throws for what is no entry; one without a source has an empty path.
[[nodiscard]] AlbumEntry EntryFromJson(const nlohmann::json& json);

}  // namespace lumato::picture
