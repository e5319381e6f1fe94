#include "picture/album.h"

#include <algorithm>
#include <string>
#include <string_view>

#include <fcntl.h>
#include <nlohmann/json.hpp>
#include <sys/stat.h>
#include <unistd.h>

#include "picture/album_json.h"
#include "picture/picture_state.h"
#include "store/store.h"

namespace lumato::picture {
namespace {

using Json = nlohmann::json;

constexpr std::uintmax_t kLargestAlbum = 4 << 20;  // 20,000 photographs, or so

Path AlbumFile() {
    return store::Store().statePath / "album";
}

std::string LineOf(const Digest& stream, const AlbumEntry& entry) {
    Json json = EntryToJson(entry);
    json["stream"] = HexText(stream);
    return "\n" + json.dump();  // ends what a full disk has cut off before it
}

// A line that is none of ours is passed over: the last one may have been cut off by a full disk.
void TakeLine(std::string_view line, std::map<std::string, AlbumEntry>& entries) {
    try {
        const Json json = Json::parse(line);
        AlbumEntry entry = EntryFromJson(json);
        if (!entry.source.empty())
            entries[json.at("stream").get<std::string>()] = std::move(entry);
    } catch (const Json::exception&) {
    }
}

Result<void> AppendLine(const Path& file, const std::string& line) {
    const int album = ::open(file.c_str(), O_WRONLY | O_APPEND | O_CREAT | O_NOFOLLOW | O_CLOEXEC, 0600);
    if (album < 0)
        return Fail(ErrorKind::Unwritable, file.string() + " cannot be written");
    // In one piece, so that two programs' lines do not mix.
    const bool whole = ::write(album, line.data(), line.size()) == static_cast<ssize_t>(line.size());
    ::close(album);
    return whole ? Result<void>() : Fail(ErrorKind::Unwritable, file.string() + " cannot be written");
}

}  // namespace

const AlbumEntry* Album::Find(const Digest& stream) {
    Load();
    return Known(stream);
}

const AlbumEntry* Album::Known(const Digest& stream) const {
    const auto found = m_entries.find(HexText(stream));
    return found != m_entries.end() ? &found->second : nullptr;
}

// Again when it has changed: another program may have added to it.
void Album::Load() {
    std::error_code error;
    const bool kept = !store::Store().statePath.empty();
    const std::uintmax_t size = kept ? std::filesystem::file_size(AlbumFile(), error) : 0;
    const auto modified = kept ? std::filesystem::last_write_time(AlbumFile(), error) : m_modified;
    if (m_loaded && m_size == (error ? 0 : size) && (error || m_modified == modified))
        return;
    m_loaded = true;
    m_size = error ? 0 : size;
    m_modified = modified;
    m_entries.clear();
    const auto bytes = ReadPlainFile(AlbumFile(), 2 * kLargestAlbum);
    if (!bytes)
        return;
    std::string_view text(reinterpret_cast<const char*>(bytes->data()), bytes->size());
    while (!text.empty()) {
        const std::size_t end = std::min(text.find('\n'), text.size());
        TakeLine(text.substr(0, end), m_entries);
        text.remove_prefix(std::min(end + 1, text.size()));
    }
}

// The newer half stays, at most so much as is read.
Result<void> Album::ForgetOldest() {
    LUMATO_TRY(const auto bytes, ReadPlainFile(AlbumFile()));
    const std::size_t kept = std::min<std::size_t>(bytes.size() / 2, kLargestAlbum);
    const auto middle = std::find(bytes.end() - static_cast<std::ptrdiff_t>(kept), bytes.end(),
                                  static_cast<std::uint8_t>('\n'));
    return WriteFile(AlbumFile(), ByteSpan(bytes).subspan(static_cast<std::size_t>(middle - bytes.begin())),
                     Links::Replace);
}

Result<void> Album::Write(const std::string& line) {
    LUMATO_TRY_VOID(MakePrivateFolder(store::Store().statePath));
    std::error_code ignored;
    if (std::filesystem::file_size(AlbumFile(), ignored) > kLargestAlbum && !ignored)
        LUMATO_TRY_VOID(ForgetOldest());
    return AppendLine(AlbumFile(), line);
}

Result<void> Album::Remember(const Digest& stream, const AlbumEntry& entry) {
    const store::StoreState& store = store::Store();
    if (!entry.source.is_absolute())
        return {};
    Load();
    m_entries[HexText(stream)] = entry;
    if (store.statePath.empty() || store.journalFolder.empty())
        return {};
    const std::string line = LineOf(stream, entry);
    LUMATO_TRY_VOID(Write(line));
    // It need not be read again for one's own line.
    std::error_code error;
    if (std::filesystem::file_size(AlbumFile(), error) == m_size + line.size()) {
        m_size += line.size();
        m_modified = std::filesystem::last_write_time(AlbumFile(), error);
    }
    return {};
}

namespace {

struct FileFacts {
    std::int64_t size = 0;
    std::int64_t modified = 0;
};

std::optional<FileFacts> FactsOf(const Path& file) {
    struct stat facts {};
    if (::stat(file.c_str(), &facts) != 0 || !S_ISREG(facts.st_mode) || ::access(file.c_str(), R_OK) != 0)
        return std::nullopt;
    return FileFacts{facts.st_size, facts.st_mtim.tv_sec};
}

}  // namespace

void NoteOriginal(AlbumEntry& entry) {
    if (const auto facts = FactsOf(entry.source)) {
        entry.size = facts->size;
        entry.modified = facts->modified;
    }
}

Original StateOf(const AlbumEntry& entry) {
    const auto facts = FactsOf(entry.source);
    if (!facts)
        return Original::Missing;
    // Of what an earlier version noted, only the time of its addition is known.
    const bool same = entry.size == 0 ? facts->modified <= entry.added
                                      : facts->size == entry.size && facts->modified == entry.modified;
    return same ? Original::There : Original::Changed;
}

Pose CurrentPose() {
    PictureState& state = Pictures();
    const store::StoreState& store = store::Store();
    const EditControls& controls = state.controls;
    const bool fitted = state.fit == Fit::Fill && controls.rotate.Value() == 0 &&
                        controls.scale.Value() == store.TheSmallestValue &&
                        controls.translateX.Value() == 0 && controls.translateY.Value() == 0 &&
                        store.gmyDrawrect == RestingRect(store.gmyLcdWidth, store.gmyLcdHeight);
    if (fitted)
        return {};
    return {controls.rotate.Value(),     controls.scale.Value(), controls.translateX.Value(),
            controls.translateY.Value(), store.gmyDrawrect,      state.fit};
}

}  // namespace lumato::picture
