#include <algorithm>
#include <ctime>
#include <map>

#include <nlohmann/json.hpp>

#include "backup/backup_file.h"
#include "backup/backup_names.h"
#include "backup/jpeg_preview.h"
#include "backup/tar_archive.h"
#include "base/printable.h"
#include "jpeg/decoder.h"
#include "picture/album_json.h"

namespace lumato::backup {
namespace {

using OrderedJson = nlohmann::ordered_json;

// Of what people look at; beyond it the streams alone are kept.
constexpr std::size_t kMostPreviewBytes = 64 << 20;
constexpr std::int64_t kMostPreviewPixels = std::int64_t{20} << 20;

std::string UtcText(std::time_t seconds) {
    std::tm utc{};
    char text[32];
    return ::gmtime_r(&seconds, &utc) != nullptr && std::strftime(text, sizeof text, "%FT%TZ", &utc) > 0
               ? text
               : "";
}

ByteSpan BytesOf(const std::string& text) {
    return {reinterpret_cast<const std::uint8_t*>(text.data()), text.size()};
}

// Gathers the files of a backup.
class BackupWriter {
  public:
    explicit BackupWriter(const Backup& backup) : m_backup(backup) {}

    Result<Stream> Write();

  private:
    void Add(const BackedUpPicture& picture);
    void AddPreview(const BackedUpPicture& picture, const std::string& name);
    [[nodiscard]] std::string Manifest() const;

    const Backup& m_backup;
    std::map<Digest, std::string> m_names;  // of the streams, by their hash
    std::vector<ArchivedFile> m_files{1};   // the first one is made last
    std::vector<ArchivedFile> m_previews;
    std::vector<Stream> m_previewFiles;
    std::size_t m_previewBytes = 0;
    OrderedJson m_pictures = OrderedJson::array();
};

// What cannot be shown has none.
void BackupWriter::AddPreview(const BackedUpPicture& picture, const std::string& name) {
    const BackedUpFrame& frame = *m_backup.frame;
    if (std::int64_t{frame.lcdWidth} * frame.lcdHeight > kMostPreviewPixels ||
        m_previewBytes > kMostPreviewBytes)
        return;
    const auto decoded = jpeg::DecodeStream(picture.stream, frame.lcdWidth, frame.lcdHeight);
    if (!decoded)
        return;
    m_previewFiles.push_back(JpegOf(*decoded));
    m_previewBytes += m_previewFiles.back().size();
    if (!m_previewFiles.back().empty())
        m_previews.push_back({name, m_previewFiles.back()});
}

void BackupWriter::Add(const BackedUpPicture& picture) {
    const int number = static_cast<int>(m_pictures.size()) + 1;
    const std::string shown = picture.origin ? picture.origin->source.filename().string() : picture.name;
    const auto [name, isNew] = m_names.try_emplace(picture.hash, StreamName(number, shown));
    if (isNew) {
        m_files.push_back({name->second, picture.stream});
        AddPreview(picture, PreviewName(number, shown));
    }
    OrderedJson json = {{"file", name->second},
                        {"name", Printable(picture.name)},
                        {"bytes", picture.stream.size()},
                        {"sha256", HexText(picture.hash)},
                        {"address", nullptr}};
    if (picture.address != 0)
        json["address"] = picture.address;
    if (picture.origin)
        json["origin"] = picture::EntryToJson(*picture.origin);
    m_pictures.push_back(std::move(json));
}

std::string BackupWriter::Manifest() const {
    const BackedUpFrame& frame = *m_backup.frame;
    const OrderedJson json = {{"format", kBackupFormat},
                              {"version", kBackupVersion},
                              {"program", "Lumato " LUMATO_VERSION},
                              {"created", UtcText(std::time(nullptr))},
                              {"frame",
                               {{"name", Printable(frame.name)},
                                {"lcd_width", frame.lcdWidth},
                                {"lcd_height", frame.lcdHeight},
                                {"sampling", frame.sampling},
                                {"table_address", frame.tableAddress},
                                {"flash_size", frame.flashSize}}},
                              {"pictures", m_pictures}};
    return json.dump(1) + "\n";
}

Result<Stream> BackupWriter::Write() {
    m_previewFiles.reserve(m_backup.pictures.size());
    for (const BackedUpPicture& picture : m_backup.pictures)
        Add(picture);
    std::ranges::move(m_previews, std::back_inserter(m_files));
    const std::string manifest = Manifest();
    m_files[0] = {kManifestName, BytesOf(manifest)};
    std::string sums;
    for (const ArchivedFile& file : m_files)
        sums += HexText(Sha256(file.bytes)) + "  " + file.name + "\n";
    m_files.push_back({kSumsName, BytesOf(sums)});  // far from the manifest: damage seldom takes both
    return WriteArchive(m_files, std::time(nullptr));
}

}  // namespace

Result<void> WriteBackup(const Path& file, const Backup& backup) {
    LUMATO_TRY(const auto archive, BackupWriter(backup).Write());
    if (archive.size() > kLargestBackup)
        return Fail(ErrorKind::TooLarge, kBeyondBackup);
    LUMATO_TRY_VOID(WriteSyncedFile(file, archive));
    // Some file systems cannot say so; the file is there all the same.
    static_cast<void>(SyncFolder(file.has_parent_path() ? file.parent_path() : Path(".")));
    return {};
}

}  // namespace lumato::backup
