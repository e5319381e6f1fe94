#include "text/ini_file.h"

#include <algorithm>
#include <cstring>

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

int FindSection(CUnicodeFile& file, std::u16string_view section) {
    const std::u16string header = u"[" + std::u16string(section) + u"]";
    std::u16string line;
    int code = kSuccess;
    do {
        code = ReadLine(file, line);
    } while (code == kSuccess && line != header);
    return code;
}

int FindEntry(CUnicodeFile& file, std::u16string_view key, std::u16string& out) {
    const std::u16string prefix = std::u16string(key) + u"=";
    std::u16string line;
    for (;;) {
        const int code = ReadLine(file, line);
        if (code != kSuccess || line.starts_with(u'['))
            return code;
        if (line.starts_with(prefix)) {
            out = line.substr(prefix.size());
            return kSuccess;
        }
    }
}

}  // namespace

constinit CIniFile iniFile;

void CIniFile::SetFilePath(const char* path) {
    m_path = {};
    std::memcpy(m_path.data(), path, std::min(std::strlen(path), m_path.size() - 1));
}

int CIniFile::GetString(std::u16string_view section, std::u16string_view key, std::u16string_view defaultText,
                        std::u16string& out) const {
    out = defaultText;
    CUnicodeFile file;
    if (const int code = file.Load(m_path.data()); code != kSuccess)
        return code;
    file.Seek(2, CUnicodeFile::kSeekCurrent);
    if (const int code = FindSection(file, section); code != kSuccess)
        return code;
    return FindEntry(file, key, out);
}

}  // namespace lumato::text
