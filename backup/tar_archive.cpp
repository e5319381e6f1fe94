#include "backup/tar_archive.h"

#include <algorithm>
#include <new>
#include <optional>

#include <archive.h>
#include <archive_entry.h>

#include "base/system_library.h"

namespace lumato::backup {
namespace {

using Bytes = std::vector<std::uint8_t>;

constexpr int kReadableByAll = 0644;
constexpr std::size_t kMostFiles = 4096;  // that are wanted: more than any frame has

struct ArchiveLibrary {
    SystemLibrary library{"libarchive.so.13"};
    decltype(&archive_write_new) create = library["archive_write_new"];
    decltype(&archive_write_set_format_ustar) setFormat = library["archive_write_set_format_ustar"];
    decltype(&archive_write_set_bytes_in_last_block) setLastBlock =
        library["archive_write_set_bytes_in_last_block"];
    decltype(&archive_write_open) open = library["archive_write_open"];
    decltype(&archive_write_header) writeHeader = library["archive_write_header"];
    decltype(&archive_write_data) writeData = library["archive_write_data"];
    decltype(&archive_write_close) close = library["archive_write_close"];
    decltype(&archive_write_free) destroy = library["archive_write_free"];
    decltype(&archive_error_string) errorText = library["archive_error_string"];
    decltype(&archive_entry_new) newEntry = library["archive_entry_new"];
    decltype(&archive_entry_free) freeEntry = library["archive_entry_free"];
    decltype(&archive_entry_set_pathname) setName = library["archive_entry_set_pathname"];
    decltype(&archive_entry_set_size) setSize = library["archive_entry_set_size"];
    decltype(&archive_entry_set_filetype) setType = library["archive_entry_set_filetype"];
    decltype(&archive_entry_set_perm) setAccess = library["archive_entry_set_perm"];
    decltype(&archive_entry_set_mtime) setTime = library["archive_entry_set_mtime"];
};

// No exception may cross the library.
la_ssize_t Append(archive*, void* bytes, const void* data, std::size_t size) {
    const auto* from = static_cast<const std::uint8_t*>(data);
    try {
        static_cast<Bytes*>(bytes)->insert(static_cast<Bytes*>(bytes)->end(), from, from + size);
    } catch (const std::bad_alloc&) {
        return -1;
    }
    return static_cast<la_ssize_t>(size);
}

bool WriteOne(const ArchiveLibrary& tar, archive* out, const ArchivedFile& file, std::time_t time) {
    archive_entry* entry = tar.newEntry();
    tar.setName(entry, file.name.c_str());
    tar.setSize(entry, static_cast<la_int64_t>(file.bytes.size()));
    tar.setType(entry, AE_IFREG);
    tar.setAccess(entry, kReadableByAll);
    tar.setTime(entry, time, 0);
    const bool written = tar.writeHeader(out, entry) == ARCHIVE_OK &&
                         tar.writeData(out, file.bytes.data(), file.bytes.size()) ==
                             static_cast<la_ssize_t>(file.bytes.size());
    tar.freeEntry(entry);
    return written;
}

// ---- reading: the fields of a header

constexpr std::size_t kNameSize = 100;
constexpr std::size_t kSizeAt = 124, kNumberSize = 12;
constexpr std::size_t kSumAt = 148, kSumSize = 8;
constexpr std::size_t kTypeAt = 156;
constexpr std::size_t kMagicAt = 257;

// Octal digits, with blanks around them. Nothing for anything else.
std::optional<std::uint64_t> NumberOf(ByteSpan field) {
    std::uint64_t number = 0;
    bool digits = false;
    for (const std::uint8_t c : field) {
        if (c >= '0' && c <= '7') {
            number = number * 8 + (c - '0');
            digits = true;
        } else if (c != ' ' && c != 0) {
            return std::nullopt;
        } else if (digits) {
            break;
        }
    }
    return digits ? std::optional(number) : std::nullopt;
}

bool IsHeader(ByteSpan block) {
    constexpr std::string_view kMagic = "ustar";
    if (!std::ranges::equal(block.subspan(kMagicAt, kMagic.size()), kMagic))
        return false;
    std::uint64_t sum = 0;
    for (std::size_t i = 0; i < kTarBlock; ++i)
        sum += i >= kSumAt && i < kSumAt + kSumSize ? std::uint8_t{' '} : block[i];
    return NumberOf(block.subspan(kSumAt, kSumSize)) == sum;
}

std::string NameOf(ByteSpan header) {
    const ByteSpan field = header.first(kNameSize);
    const std::string name(field.begin(), std::ranges::find(field, std::uint8_t{0}));
    return name.starts_with("./") ? name.substr(2) : name;  // as `tar cf FILE .` has them
}

bool IsPadding(ByteSpan block) {
    return std::ranges::all_of(block, [](std::uint8_t byte) { return byte == 0; });
}

}  // namespace

Result<Bytes> WriteArchive(const std::vector<ArchivedFile>& files, std::time_t time) {
    static const ArchiveLibrary tar;
    if (const Result<void> there = tar.library.Check(); !there)
        return tl::unexpected(there.error());
    Bytes bytes;
    archive* out = tar.create();
    bool written = tar.setFormat(out) == ARCHIVE_OK && tar.setLastBlock(out, 1) == ARCHIVE_OK &&
                   tar.open(out, &bytes, nullptr, Append, nullptr) == ARCHIVE_OK;
    for (const ArchivedFile& file : files)
        written = written && WriteOne(tar, out, file, time);
    written = tar.close(out) == ARCHIVE_OK && written;
    const char* reason = tar.errorText(out);
    Result<Bytes> result = Fail(ErrorKind::TooLarge, reason != nullptr ? reason : "the archive is too large");
    if (written)
        result = std::move(bytes);
    tar.destroy(out);
    return result;
}

ArchiveContents ReadArchive(ByteSpan archive, bool (*wanted)(std::string_view name)) {
    ArchiveContents contents;
    bool lost = false;  // in a run of blocks that say nothing
    for (std::size_t at = 0; at + kTarBlock <= archive.size() && contents.files.size() < kMostFiles;) {
        const ByteSpan block = archive.subspan(at, kTarBlock);
        const auto size = IsHeader(block) ? NumberOf(block.subspan(kSizeAt, kNumberSize)) : std::nullopt;
        if (!size) {
            if (!std::exchange(lost, !IsPadding(block)) && lost)
                contents.lost.push_back(at);
            at += kTarBlock;
            continue;
        }
        lost = false;
        at += kTarBlock;
        const std::size_t left = archive.size() - at;
        const std::size_t there = *size < left ? static_cast<std::size_t>(*size) : left;
        const std::uint8_t type = block[kTypeAt];
        if ((type == '0' || type == 0) && wanted(NameOf(block)))
            contents.files.push_back({NameOf(block), archive.subspan(at, there)});
        at += std::min(left, (there + kTarBlock - 1) / kTarBlock * kTarBlock);
    }
    return contents;
}

}  // namespace lumato::backup
