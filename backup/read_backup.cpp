#include <algorithm>
#include <map>
#include <utility>

#include <nlohmann/json.hpp>

#include "backup/backup_file.h"
#include "backup/backup_names.h"
#include "backup/tar_archive.h"
#include "base/printable.h"
#include "picture/album_json.h"

namespace lumato::backup {
namespace {

using Json = nlohmann::json;

constexpr std::size_t kLargestText = 4 << 20;     // of manifest and sums
constexpr std::size_t kLargestStream = 0xFFFFFF;  // as a picture table can tell
constexpr std::size_t kMostListed = 4096;         // that waited included
constexpr std::size_t kMostSearched = 512 << 20;  // behind damaged headers

bool IsWanted(std::string_view name) {
    return name == kManifestName || name == kSumsName || IsStreamName(name);
}

std::string TextOf(ByteSpan bytes) {
    return {bytes.begin(), bytes.end()};
}

// Throws what std::stoi throws.
Digest DigestOf(const std::string& digits) {
    Digest digest{};
    if (digits.size() != 2 * digest.size())
        throw std::invalid_argument("sha256");
    for (std::size_t i = 0; i < digest.size(); ++i)
        digest[i] = static_cast<std::uint8_t>(std::stoi(digits.substr(2 * i, 2), nullptr, 16));
    return digest;
}

class BackupReader {
  public:
    explicit BackupReader(Stream archive) { m_backup.held.push_back(std::move(archive)); }

    Result<Backup> Read();

  private:
    void Sort(const std::vector<ArchivedFile>& files);
    void TakeSums(const std::string& text);
    [[nodiscard]] bool IsSoundManifest() const;
    Result<void> TakeManifest(const Json& json);
    void TakePicture(const Json& json);
    void TakeNames();
    ByteSpan FindBehindDamage(const Digest& hash, std::size_t bytes);

    Backup m_backup;
    std::vector<std::size_t> m_lost;
    std::size_t m_searched = 0;
    ByteSpan m_manifest;
    std::map<std::string, std::string> m_sums;  // hash in digits, by name
    std::map<std::string, Digest> m_names;      // of the streams
    std::map<Digest, ByteSpan> m_streams;
};

void BackupReader::TakeSums(const std::string& text) {
    constexpr std::size_t kDigits = 2 * sizeof(Digest);
    for (std::size_t at = 0; at < text.size();) {
        const std::size_t end = std::min(text.find('\n', at), text.size());
        if (end - at > kDigits + 2)
            m_sums[text.substr(at + kDigits + 2, end - at - kDigits - 2)] = text.substr(at, kDigits);
        at = end + 1;
    }
}

// Of several files with a name the first counts, but every stream can be found by its hash.
void BackupReader::Sort(const std::vector<ArchivedFile>& files) {
    for (const ArchivedFile& file : files) {
        if (file.bytes.empty() ||
            file.bytes.size() > (IsStreamName(file.name) ? kLargestStream : kLargestText))
            continue;
        if (file.name == kManifestName && m_manifest.empty())
            m_manifest = file.bytes;
        else if (file.name == kSumsName && m_sums.empty())
            TakeSums(TextOf(file.bytes));
        if (!IsStreamName(file.name))
            continue;
        const Digest hash = Sha256(file.bytes);
        m_names.try_emplace(file.name, hash);
        m_streams.try_emplace(hash, file.bytes);
    }
}

bool BackupReader::IsSoundManifest() const {
    const auto sum = m_sums.find(kManifestName);
    return !m_manifest.empty() && (sum == m_sums.end() || sum->second == HexText(Sha256(m_manifest)));
}

// A header that was damaged takes name and size with it, not the bytes; one that was zeroed looks like
// padding, and what begins there are the bytes.
ByteSpan BackupReader::FindBehindDamage(const Digest& hash, std::size_t bytes) {
    const ByteSpan archive = m_backup.held.front();
    for (const std::size_t lost : m_lost) {
        for (const std::size_t begin : {lost + kTarBlock, lost}) {
            if (m_searched > kMostSearched)
                return {};
            m_searched += kTarBlock;  // looking costs time, however few bytes there are to look at
            if (begin > archive.size() || bytes > archive.size() - begin)
                continue;
            m_searched += bytes;
            if (Sha256(archive.subspan(begin, bytes)) == hash)
                return archive.subspan(begin, bytes);
        }
    }
    return {};
}

// Throws what the library throws for members that are missing or of another type.
void BackupReader::TakePicture(const Json& json) {
    BackedUpPicture picture;
    picture.name = json.at("name").get<std::string>();
    picture.hash = DigestOf(json.at("sha256").get<std::string>());
    picture.address = json.at("address").is_null() ? 0 : json.at("address").get<std::int32_t>();
    if (json.contains("origin"))
        picture.origin = picture::EntryFromJson(json.at("origin"));
    if (picture.origin && picture.origin->source.empty())
        picture.origin.reset();
    const auto found = m_streams.find(picture.hash);
    picture.stream = found != m_streams.end()
                         ? found->second
                         : FindBehindDamage(picture.hash, json.at("bytes").get<std::size_t>());
    m_backup.pictures.push_back(std::move(picture));
}

Result<void> BackupReader::TakeManifest(const Json& json) {
    if (json.at("format").get<std::string>() != kBackupFormat)
        return Fail(ErrorKind::Unsupported, Phrase("NO_BACKUP", "it is no backup of a frame"));
    if (json.at("version").get<int>() > kBackupVersion)
        return Fail(ErrorKind::Unsupported,
                    Phrase("BACKUP_OF_LATER_VERSION", "a later version of this program made this backup"));
    if (json.at("pictures").size() > kMostListed)
        return Fail(ErrorKind::Unsupported,
                    Phrase("BACKUP_LISTS_TOO_MANY", "it lists more pictures than any frame holds"));
    const Json& frame = json.at("frame");
    m_backup.frame = {frame.at("name").get<std::string>(),  frame.at("lcd_width").get<int>(),
                      frame.at("lcd_height").get<int>(),    frame.at("sampling").get<int>(),
                      frame.at("table_address").get<int>(), frame.at("flash_size").get<int>()};
    for (const Json& picture : json.at("pictures"))
        TakePicture(picture);
    return {};
}

// What is left without a manifest. Where there are sums, only what they confirm is as it was.
void BackupReader::TakeNames() {
    for (const auto& [name, sum] : m_sums) {
        if (IsStreamName(name))
            m_names.try_emplace(name);
    }
    for (const auto& [name, hash] : m_names) {
        BackedUpPicture picture;
        picture.name = ShownName(name);
        picture.hash = hash;
        const auto sum = m_sums.find(name);
        const auto found = m_streams.find(hash);
        if (found != m_streams.end() && (sum == m_sums.end() || sum->second == HexText(hash)))
            picture.stream = found->second;
        m_backup.pictures.push_back(std::move(picture));
    }
}

Result<Backup> BackupReader::Read() {
    const ArchiveContents contents = ReadArchive(m_backup.held.front(), IsWanted);
    m_lost = contents.lost;
    Sort(contents.files);
    if (IsSoundManifest()) {
        try {
            LUMATO_TRY_VOID(TakeManifest(Json::parse(m_manifest.begin(), m_manifest.end())));
            return std::move(m_backup);
        } catch (const std::exception&) {  // it is damaged
            m_backup.frame.reset();
            m_backup.pictures.clear();
        }
    }
    TakeNames();
    if (m_backup.pictures.empty())
        return Fail(ErrorKind::Unsupported,
                    Phrase("BACKUP_NOT_WHOLE", "it is no backup of a frame, or nothing of it is whole"));
    return std::move(m_backup);
}

}  // namespace

Result<Backup> ReadBackup(const Path& file) {
    LUMATO_TRY(auto archive, ReadPlainFile(file, kLargestBackup));
    Result<Backup> backup = BackupReader(std::move(archive)).Read();
    if (!backup)
        return Fail(backup.error().kind, About(Printable(file.native()), backup.error().message));
    return backup;
}

}  // namespace lumato::backup
