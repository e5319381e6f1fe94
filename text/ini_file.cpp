#include "text/ini_file.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <unordered_map>
#include <vector>

#include <sys/stat.h>
#include <time.h>

namespace lumato::text {
namespace {

// Reads the next line as whole code units; an odd last byte belongs to none.
int ReadLine(CUnicodeFile& file, std::u16string& line) {
    std::array<unsigned char, CIniFile::kLineBytes> bytes;
    int length = 0;
    const int code = file.ReadLine(bytes.data(), CIniFile::kLineBytes, length);
    if (code != kSuccess)
        return code;
    line.resize(static_cast<std::size_t>(length) / 2);
    std::memcpy(line.data(), bytes.data(), line.size() * 2);
    return kSuccess;
}

// Says whether a file is still what was read.
struct Stamp {
    dev_t device = 0;
    ino_t inode = 0;
    off_t size = 0;
    std::int64_t changed = 0;  // in nanoseconds, as all times here

    bool operator==(const Stamp&) const = default;
};

std::int64_t Nanoseconds(const timespec& time) {
    return std::int64_t{time.tv_sec} * 1'000'000'000 + time.tv_nsec;
}

// The clock by which files are dated. It ticks slowly: files that change twice in a tick have one date.
std::int64_t FileClock() {
    timespec now{};
    ::clock_gettime(CLOCK_REALTIME_COARSE, &now);
    return Nanoseconds(now);
}

// Its lines that may be entries, up to the next section.
struct Section {
    std::vector<std::u16string> entries;
    int end = kSuccess;  // what ended it
};

}  // namespace

struct CIniFile::Contents {
    Contents(const char* path, const Stamp& at);

    Stamp stamp;
    bool settled = false;                                  // another change would give it another stamp
    std::unordered_map<std::u16string, Section> sections;  // the first of each name, by the header
    int end = kSuccess;
};

CIniFile::Contents::Contents(const char* path, const Stamp& at)
    : stamp(at), settled(at.changed < FileClock()) {
    CUnicodeFile file;
    if (end = file.Load(path); end != kSuccess) {
        settled = false;  // no descriptor may have been free, say: the next look-up tries again
        return;
    }
    file.Seek(2, CUnicodeFile::kSeekCurrent);
    Section above, again;  // what no look-up finds
    Section* section = &above;
    for (std::u16string line; (end = ReadLine(file, line)) == kSuccess;) {
        if (line.starts_with(u'[')) {
            const auto [place, isFirst] = sections.try_emplace(line);
            section = isFirst ? &place->second : &again;
        } else if (section != &again && line.find(u'=') != std::u16string::npos) {
            section->entries.push_back(line);
        }
    }
    section->end = end;
}

constinit CIniFile iniFile;

void CIniFile::SetFilePath(const char* path) {
    m_contents.reset();
    m_path = {};
    std::memcpy(m_path.data(), path, std::min(std::strlen(path), m_path.size() - 1));
}

// Reading the file takes far longer than a look-up, and a window has hundreds of texts.
const CIniFile::Contents* CIniFile::Current() const {
    struct stat facts {};
    if (::stat(m_path.data(), &facts) != 0)
        return nullptr;
    const Stamp stamp{facts.st_dev, facts.st_ino, facts.st_size, Nanoseconds(facts.st_ctim)};
    if (m_contents == nullptr || !m_contents->settled || m_contents->stamp != stamp)
        m_contents = std::make_shared<const Contents>(m_path.data(), stamp);
    return m_contents.get();
}

int CIniFile::GetString(std::u16string_view section, std::u16string_view key, std::u16string_view defaultText,
                        std::u16string& out) const {
    out = defaultText;
    const std::lock_guard lock(m_mutex);
    const Contents* contents = Current();
    if (contents == nullptr)
        return kCannotOpen;
    const auto found = contents->sections.find(u"[" + std::u16string(section) + u"]");
    if (found == contents->sections.end())
        return contents->end;
    const std::u16string prefix = std::u16string(key) + u"=";
    for (const std::u16string& line : found->second.entries) {
        if (!line.starts_with(prefix))
            continue;
        out = line.substr(prefix.size());
        return kSuccess;
    }
    return found->second.end;
}

}  // namespace lumato::text
