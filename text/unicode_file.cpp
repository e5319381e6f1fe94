#include "text/unicode_file.h"

#include <algorithm>
#include <bit>
#include <cstring>
#include <limits>
#include <utility>

#include "base/file.h"

namespace lumato::text {
namespace {

constexpr std::array<std::uint8_t, 4> kLineEnd{0x0D, 0x00, 0x0A, 0x00};

bool BeginsWithMark(ByteSpan bytes) {
    return bytes.size() >= 2 && bytes[0] == 0xFF && bytes[1] == 0xFE;
}

}  // namespace

int CUnicodeFile::Load(const char* path) {
    m_buffer = {};
    m_current = 0;
    m_path = {};
    std::memcpy(m_path.data(), path, std::min(std::strlen(path), kPathBytes - 1));

    auto bytes = ReadPlainFile(path, kLargestFile);
    if (!bytes)
        return kCannotOpen;
    if (!BeginsWithMark(*bytes))
        return kNotUtf16;
    m_buffer = std::move(*bytes);
    return kSuccess;
}

int CUnicodeFile::Seek(long offset, SeekPosition origin) {
    std::int64_t from = 0;
    switch (origin) {
        case kSeekBegin:
            break;
        case kSeekCurrent:
            from = m_current;
            break;
        case kSeekEnd:
            from = static_cast<std::int64_t>(m_buffer.size());
            break;
        default:
            return kUnknownOrigin;
    }
    // A sum beyond the range of numbers is as far outside as its end.
    if (__builtin_add_overflow(from, offset, &m_current))
        m_current =
            offset < 0 ? std::numeric_limits<std::int64_t>::min() : std::numeric_limits<std::int64_t>::max();
    return kSuccess;
}

bool CUnicodeFile::IsWithinData() const {
    return m_current >= 0 && m_current < static_cast<std::int64_t>(m_buffer.size());
}

int CUnicodeFile::ReadLine(unsigned char* text, int capacity, int& length) {
    if (!IsWithinData())
        return kNoLine;
    const auto size = static_cast<std::int64_t>(m_buffer.size());
    length = GetNextLineOffset();
    if (length < 0)
        length = static_cast<int>(size - m_current);
    if (length > capacity)
        return kLineTooLong;
    std::copy_n(m_buffer.begin() + m_current, length, text);
    m_current += length;
    if (m_current < size)
        m_current += static_cast<std::int64_t>(kLineEnd.size());
    UpToLowBytes(text, length);
    return kSuccess;
}

int CUnicodeFile::GetNextLineOffset() const {
    if (!IsWithinData())
        return -1;
    const auto from = m_buffer.begin() + m_current;
    const auto found = std::search(from, m_buffer.end(), kLineEnd.begin(), kLineEnd.end());
    return found == m_buffer.end() ? -1 : static_cast<int>(found - from);
}

void CUnicodeFile::UpToLowBytes(unsigned char* text, int length) {
    if constexpr (std::endian::native == std::endian::little)
        return;
    for (int i = 0; i + 1 < length; i += 2)
        std::swap(text[i], text[i + 1]);
}

}  // namespace lumato::text
