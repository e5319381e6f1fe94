#include "store/saved_copies.h"

#include <algorithm>
#include <cerrno>
#include <system_error>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "base/printable.h"
#include "base/temporary_name.h"
#include "platform/linux/trash.h"
#include "store/store_state.h"

namespace lumato::store {
namespace {

constexpr std::size_t kMostNoted = 8192;
constexpr std::uintmax_t kLargestCopy = 1 << 28;

Path RecordPath() {
    return Store().statePath / "saved";
}

// Evidence for "we wrote exactly this, exactly here".
Digest EvidenceOf(const Path& target, ByteSpan bytes) {
    std::error_code error;
    const std::string place = std::filesystem::weakly_canonical(target.parent_path(), error).string() + "/" +
                              target.filename().string();
    const Digest contents = Sha256(bytes);
    std::vector<std::uint8_t> both(place.begin(), place.end());
    both.insert(both.end(), contents.begin(), contents.end());
    return Sha256(both);
}

}  // namespace

SavedCopies::SavedCopies() {
    if (Store().statePath.empty())
        return;
    const auto record = ReadPlainFile(RecordPath(), kMostNoted * sizeof(Digest));
    if (!record)
        return;
    m_written.resize(record->size() / sizeof(Digest));
    for (std::size_t i = 0; i < m_written.size(); ++i)
        std::copy_n(record->begin() + static_cast<std::ptrdiff_t>(i * sizeof(Digest)), sizeof(Digest),
                    m_written[i].begin());
}

SavedCopies::~SavedCopies() {
    if (Store().statePath.empty())
        return;
    const std::size_t noted = std::min(m_written.size(), kMostNoted);
    std::vector<std::uint8_t> record;
    for (std::size_t i = m_written.size() - noted; i < m_written.size(); ++i)
        record.insert(record.end(), m_written[i].begin(), m_written[i].end());
    std::error_code error;  // the state folder may be a link
    if (std::filesystem::is_directory(Store().statePath, error) || MakePrivateFolder(Store().statePath))
        static_cast<void>(WriteFile(RecordPath(), record, Links::Replace));
}

bool SavedCopies::IsOurs(const Path& target, ByteSpan bytes) const {
    const auto there = ReadPlainFile(target, kLargestCopy);
    return there && (std::ranges::equal(*there, bytes) ||
                     std::ranges::find(m_written, EvidenceOf(target, *there)) != m_written.end());
}

Result<void> SavedCopies::Put(const Path& target, ByteSpan bytes) {
    struct stat status {};
    const bool isThere = ::lstat(target.c_str(), &status) == 0;
    const bool isLink = isThere && S_ISLNK(status.st_mode);
    if (isThere && !isLink && !S_ISREG(status.st_mode))
        return Fail(ErrorKind::Unwritable, About(Printable(target.string()), kNotPlainFile));
    // Root may write everything, and yet somebody made it read-only.
    if (isThere && !isLink &&
        ((status.st_mode & 0222) == 0 || ::faccessat(AT_FDCWD, target.c_str(), W_OK, AT_EACCESS) != 0))
        return Fail(ErrorKind::Unwritable, About(Printable(target.string()), SystemMessage(EACCES)));
    if (isThere && (isLink || !IsOurs(target, bytes))) {
        // Whole before anything moves, so that a full disk leaves everything as it is.
        const Path fresh = target.parent_path() / TemporaryName("save");
        std::error_code error;
        std::filesystem::remove(fresh, error);
        LUMATO_TRY_VOID(WriteFile(fresh, bytes));
        Result<Path> moved = platform::MoveToTrash(target);
        if (moved) {
            m_replaced.push_back(*moved);
            std::filesystem::rename(fresh, target, error);
        }
        if (!moved || error) {
            std::error_code ignored;
            std::filesystem::remove(fresh, ignored);
        }
        if (!moved)
            return tl::unexpected(moved.error());
        if (error)
            return Fail(ErrorKind::Unwritable, About(Printable(target.string()), error.message()));
    } else {
        LUMATO_TRY_VOID(WriteFile(target, bytes));
    }
    const Digest evidence = EvidenceOf(target, bytes);
    std::erase(m_written, evidence);
    m_written.push_back(evidence);
    return {};
}

}  // namespace lumato::store
