#include "cli/add_sources.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <string_view>
#include <utility>

#include <sys/mman.h>
#include <unistd.h>

#include "base/printable.h"
#include "base/private_text.h"

namespace lumato::cli {
namespace {

constexpr const char* kInputName = "standard input";
constexpr std::size_t kMostInput = 0x7FFFFFFF;
constexpr std::size_t kMostListed = 1 << 26;

// All of it, piece by piece, to `take`, which says whether it could be taken.
template <class Take>
Result<void> ReadInput(std::size_t limit, Take take) {
    std::vector<std::uint8_t> piece(1 << 16);
    for (std::size_t total = 0;;) {
        const ssize_t got = ::read(STDIN_FILENO, piece.data(), piece.size());
        if (got < 0 && errno == EINTR)
            continue;
        if (got < 0)
            return Fail(ErrorKind::Unreadable, About(kInputName, SystemMessage(errno)));
        if (got == 0)
            return {};
        total += static_cast<std::size_t>(got);
        if (total > limit)
            return Fail(ErrorKind::TooLarge, About(kInputName, "too large"));
        LUMATO_TRY_VOID(take(ByteSpan(piece).first(static_cast<std::size_t>(got))));
    }
}

Result<void> WriteAllTo(int fd, ByteSpan bytes) {
    while (!bytes.empty()) {
        const ssize_t put = ::write(fd, bytes.data(), bytes.size());
        if (put < 0 && errno == EINTR)
            continue;
        if (put <= 0)
            return Fail(ErrorKind::TooLarge, About(kInputName, SystemMessage(errno)));
        bytes = bytes.subspan(static_cast<std::size_t>(put));
    }
    return {};
}

}  // namespace

AddSources::AddSources(AddSources&& other) noexcept
    : m_files(std::move(other.m_files)),
      m_inputTaken(other.m_inputTaken),
      m_input(std::exchange(other.m_input, -1)),
      m_inputFile(std::move(other.m_inputFile)) {}

AddSources::~AddSources() {
    if (m_input >= 0)
        ::close(m_input);
}

Result<AddSources> AddSources::Read(const std::vector<Path>& words) {
    AddSources sources;
    for (const Path& word : words) {
        const std::string& text = word.native();
        const bool isInput = text == "-" || text == "@-";
        if (isInput && std::exchange(sources.m_inputTaken, true))
            return Fail(ErrorKind::Unsupported, "standard input can be read only once");
        if (text == "-")
            LUMATO_TRY_VOID(sources.TakeInput());
        else if (text.starts_with('@'))
            LUMATO_TRY_VOID(sources.TakeList(text.substr(1)));
        else
            sources.m_files.push_back(word);
    }
    return sources;
}

// Readers open a picture by its name, some of them twice, so that a pipe will not do.
Result<void> AddSources::TakeInput() {
    m_input = ::memfd_create("picture", MFD_CLOEXEC);
    if (m_input < 0)
        return Fail(ErrorKind::Unreadable, About(kInputName, SystemMessage(errno)));
    m_inputFile = "/proc/self/fd/" + std::to_string(m_input);
    m_files.push_back(m_inputFile);
    return ReadInput(kMostInput, [this](ByteSpan bytes) { return WriteAllTo(m_input, bytes); });
}

// One name a line; or, as names can hold line breaks, between NULs where there is one.
Result<void> AddSources::TakeList(const std::string& name) {
    std::vector<std::uint8_t> bytes;
    if (name == "-") {
        LUMATO_TRY_VOID(ReadInput(kMostListed, [&bytes](ByteSpan piece) -> Result<void> {
            bytes.insert(bytes.end(), piece.begin(), piece.end());
            return {};
        }));
    } else {
        LUMATO_TRY(bytes, ReadFile(name, kMostListed));
    }
    const std::string_view text(reinterpret_cast<const char*>(bytes.data()), bytes.size());
    const char separator = text.find('\0') != std::string_view::npos ? '\0' : '\n';
    const std::size_t before = m_files.size();
    for (std::size_t at = 0; at < text.size();) {
        const std::size_t end = std::min(text.find(separator, at), text.size());
        if (end > at) {
            m_files.emplace_back(text.substr(at, end - at));
            HideFileName(m_files.back().native());
        }
        at = end + 1;
    }
    if (m_files.size() == before)
        return Fail(ErrorKind::NotFound, About(Printable(name), "the list names no picture"));
    return {};
}

std::string AddSources::NameOf(const Path& file) const {
    return !m_inputFile.empty() && file == m_inputFile ? kInputName : file.string();
}

}  // namespace lumato::cli
