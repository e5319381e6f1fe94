#include "store/known_pictures.h"

#include <algorithm>
#include <array>
#include <set>
#include <string_view>
#include <system_error>

#include "base/file.h"
#include "store/journal.h"
#include "store/picture_table.h"
#include "store/store_state.h"

namespace lumato::store {
namespace {

constexpr std::string_view kKnownMark = "LUMATOKN";
constexpr std::size_t kKnownEntry = 8 + sizeof(Digest);
constexpr std::size_t kMostFiles = 32;  // of a kind

Path KnownFolder() {
    return Store().statePath / "known";
}

// "retries" of "retries-5E...": files of one kind do not push out those of another.
std::string KindOf(const std::string& name) {
    const std::size_t dash = name.rfind('-');
    return dash == std::string::npos ? std::string() : name.substr(0, dash);
}

void DropOldest(const std::string& kind) {
    std::vector<std::pair<std::filesystem::file_time_type, Path>> files;
    std::error_code error;
    for (std::filesystem::directory_iterator entry(KnownFolder(), error), end; !error && entry != end;
         entry.increment(error)) {
        std::error_code unknown;
        if (KindOf(entry->path().filename().string()) == kind)
            files.emplace_back(entry->last_write_time(unknown), entry->path());
    }
    std::ranges::sort(files, std::ranges::greater{});
    for (std::size_t i = kMostFiles; i < files.size(); ++i)
        std::filesystem::remove(files[i].second, error);
}

// By their bytes, wherever they lay: on the frame, or as a download that broke off was to leave them.
std::set<Digest> HashesKnownBefore() {
    const StoreState& store = Store();
    std::set<Digest> hashes;
    const auto take = [&](ByteSpan table) {
        for (const KnownPicture& picture : LoadKnown(table))
            hashes.insert(picture.hash);
    };
    take(store.tableOnFrame);
    if (store.journal != nullptr) {
        take(store.journal->tableBefore);
        take(store.journal->tableAfter);
    }
    return hashes;
}

}  // namespace

std::string KnownName(ByteSpan table) {
    const StoreState& store = Store();
    std::vector<std::uint8_t> key(store.frameIdentity.begin(), store.frameIdentity.end());
    key.insert(key.end(), store.frameIndividual.begin(), store.frameIndividual.end());
    key.push_back(0);
    key.insert(key.end(), table.begin(), table.end());
    return HexText(Sha256(key));
}

std::vector<std::uint8_t> ReadKnownFile(const std::string& name, std::size_t limit) {
    if (Store().statePath.empty())
        return {};
    auto bytes = ReadPlainFile(KnownFolder() / name, limit);
    return bytes ? std::move(*bytes) : std::vector<std::uint8_t>();
}

void KeepKnownFile(const std::string& name, ByteSpan bytes) {
    if (Store().statePath.empty())
        return;
    std::error_code error;  // the state folder may be a link
    if (!std::filesystem::is_directory(Store().statePath, error) && !MakePrivateFolder(Store().statePath))
        return;
    if (MakePrivateFolder(KnownFolder()) && WriteFile(KnownFolder() / name, bytes, Links::Replace))
        DropOldest(KindOf(name));
}

KnownPictures LoadKnown(ByteSpan table) {
    const auto bytes =
        ReadKnownFile(KnownName(table), kKnownMark.size() + kSlotCount * kKnownEntry + sizeof(Digest));
    if (bytes.size() < kKnownMark.size() + sizeof(Digest))
        return {};
    const ByteSpan said = ByteSpan(bytes).first(bytes.size() - sizeof(Digest));
    if (!std::ranges::equal(Sha256(said), ByteSpan(bytes).last(sizeof(Digest))) ||
        !std::ranges::equal(said.first(kKnownMark.size()), kKnownMark))
        return {};
    KnownPictures known;
    for (std::size_t at = kKnownMark.size(); at + kKnownEntry <= said.size(); at += kKnownEntry) {
        const auto number = [&](std::size_t from) {
            std::uint32_t value = 0;
            for (std::size_t i = 4; i-- > 0;)
                value = value << 8U | said[from + i];
            return static_cast<std::int32_t>(value);
        };
        KnownPicture picture{number(at), number(at + 4), {}};
        std::ranges::copy(said.subspan(at + 8, sizeof(Digest)), picture.hash.begin());
        known.push_back(picture);
    }
    return known;
}

std::optional<Digest> KnownHash(const KnownPictures& known, std::int32_t address, std::int32_t length) {
    for (const KnownPicture& picture : known) {
        if (picture.address == address && picture.length == length)
            return picture.hash;
    }
    return std::nullopt;
}

void SaveKnown(ByteSpan table, const KnownPictures& known) {
    std::vector<std::uint8_t> bytes(kKnownMark.begin(), kKnownMark.end());
    for (const KnownPicture& picture : known) {
        for (const std::int32_t number : {picture.address, picture.length}) {
            for (int shift = 0; shift < 32; shift += 8)
                bytes.push_back(static_cast<std::uint8_t>(static_cast<std::uint32_t>(number) >> shift));
        }
        bytes.insert(bytes.end(), picture.hash.begin(), picture.hash.end());
    }
    const Digest sum = Sha256(bytes);
    bytes.insert(bytes.end(), sum.begin(), sum.end());
    KeepKnownFile(KnownName(table), bytes);
}

KnownPictures KnownAfter(const DownloadPlan& plan) {
    const StoreState& store = Store();
    const KnownPictures onFrame = LoadKnown(store.tableOnFrame);
    const std::set<Digest> before = HashesKnownBefore();
    std::array<std::uint8_t, kTableSize> table = plan.tableAfter;
    KnownPictures known;
    int position = 0;
    for (const FileData& record : EachOf(store.gmyPictureData)) {
        const std::int32_t address = SlotAddress(SlotOf(table, ++position));
        const bool fromHere = record.seqIndex >= kAddedSequenceBase && record.journalPosition == 0;
        if (record.streamHash && (fromHere || before.contains(*record.streamHash)))
            known.push_back({address, record.picSize, *record.streamHash});
        else if (const auto hash = KnownHash(onFrame, address, record.picSize); hash && !plan.Writes(record))
            known.push_back({address, record.picSize, *hash});
    }
    return known;
}

}  // namespace lumato::store
