#include "import/picture_file.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <iterator>
#include <string_view>
#include <utility>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "import/import_bmp.h"
#include "reader/raw_signatures.h"

namespace lumato::picture {
namespace {

using namespace std::string_view_literals;

Error FileError(int errorNumber) {
    const ErrorKind kind = KindOfErrno(errorNumber, false);
    // What is gone here is the file's disk; Gone is for imports that were stopped, and ends a whole batch.
    return {kind == ErrorKind::Gone ? ErrorKind::Unreadable : kind, SystemMessage(errorNumber)};
}

Result<void> RequireRegular(const struct stat& status) {
    if (S_ISDIR(status.st_mode))
        return Fail(ErrorKind::Unreadable, Phrase("IS_A_FOLDER", "is a folder"));
    if (!S_ISREG(status.st_mode))
        return Fail(ErrorKind::Unreadable, Phrase("IS_A_DEVICE", "is a device or a pipe, not a file"));
    return {};
}

struct Signature {
    std::size_t offset;
    std::string_view bytes;
};

// PNG, GIF, TIFF (both byte orders, classic and BigTIFF), JPEG XL bare and in its container.
constexpr Signature kSignatures[] = {
    {0, "\x89PNG\r\n\x1A\n"sv},  {0, "GIF87a"sv},   {0, "GIF89a"sv},
    {0, "II\x2A\0"sv},           {0, "MM\0\x2A"sv}, {0, "II\x2B\0\x08\0\0\0"sv},
    {0, "MM\0\x2B\0\x08\0\0"sv}, {0, "\xFF\x0A"sv}, {0, "\0\0\0\x0CJXL \r\n\x87\n"sv},
};

// Brands of ISO base media files (ISO/IEC 23008-12) that hold still pictures.
constexpr std::string_view kStillBrands[] = {"heic"sv, "heix"sv, "heim"sv, "heis"sv, "hevc"sv, "hevx"sv,
                                             "mif1"sv, "mif2"sv, "msf1"sv, "avif"sv, "avis"sv, "avio"sv};

bool IsStillBrand(std::string_view brand) {
    for (const std::string_view known : kStillBrands)
        if (brand == known)
            return true;
    return false;
}

// The major brand or one of the first compatible ones.
bool HasStillBrand(std::string_view start) {
    if (start.size() < 16 || start.substr(4, 4) != "ftyp"sv)
        return false;
    for (std::size_t at = 8; at + 4 <= start.size(); at += 4)
        if (at != 12 && IsStillBrand(start.substr(at, 4)))
            return true;
    return false;
}

bool IsOtherPicture(std::string_view start) {
    for (const Signature& signature : kSignatures)
        if (start.size() > signature.bytes.size() && start.starts_with(signature.bytes))
            return true;
    if (start.starts_with("RIFF"sv) && start.size() >= 12 && start.substr(8, 4) == "WEBP"sv)
        return true;
    return HasStillBrand(start) || reader::IsRawSignature(start);
}

}  // namespace

Result<PictureFile> PictureFile::Open(const Path& path) {
    struct stat status {};
    if (::stat(path.c_str(), &status) != 0)
        return tl::unexpected(FileError(errno));
    LUMATO_TRY_VOID(RequireRegular(status));

    // Something else may stand there by now: opened so that even a pipe cannot hang, then asked again.
    const int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY);
    if (fd < 0)
        return tl::unexpected(FileError(errno));
    PictureFile file(fd, 0);
    if (::fstat(fd, &status) != 0)
        return tl::unexpected(FileError(errno));
    LUMATO_TRY_VOID(RequireRegular(status));
    file.m_size = status.st_size;
    return file;
}

PictureFile::PictureFile(PictureFile&& other) noexcept
    : m_fd(std::exchange(other.m_fd, -1)), m_start(other.m_start), m_size(other.m_size) {}

PictureFile::~PictureFile() {
    if (m_fd >= 0)
        ::close(m_fd);
}

Result<PictureFile> PictureFile::Part(std::int64_t offset, std::int64_t length) const {
    const int fd = ::fcntl(m_fd, F_DUPFD_CLOEXEC, 0);
    if (fd < 0)
        return tl::unexpected(FileError(errno));
    return PictureFile(fd, length, m_start + offset);
}

// Nothing behind the end: a file that grows meanwhile is what it was, and so is a part.
Result<std::size_t> PictureFile::ReadAt(std::int64_t offset, MutableByteSpan into) const {
    const std::int64_t left = std::max<std::int64_t>(m_size - offset, 0);
    into = into.first(static_cast<std::size_t>(std::min<std::int64_t>(left, std::ssize(into))));
    offset += m_start;
    std::size_t have = 0;
    while (have < into.size()) {
        const ssize_t got =
            ::pread(m_fd, into.data() + have, into.size() - have, offset + static_cast<std::int64_t>(have));
        if (got < 0 && errno == EINTR)
            continue;
        if (got < 0)
            return tl::unexpected(FileError(errno));
        if (got == 0)
            break;
        have += static_cast<std::size_t>(got);
    }
    return have;
}

Result<Content> ContentOf(const PictureFile& file) {
    std::array<std::uint8_t, 64> buffer{};
    LUMATO_TRY(const std::size_t size, file.ReadAt(0, buffer));
    const ByteSpan bytes(buffer.data(), size);
    const std::string_view start(reinterpret_cast<const char*>(buffer.data()), size);
    if (start.starts_with("\xFF\xD8\xFF"sv))
        return Content::Jpeg;
    if (StartsLikeBitmap(bytes))
        return Content::Bitmap;
    return IsOtherPicture(start) ? Content::Other : Content::Nothing;
}

}  // namespace lumato::picture
