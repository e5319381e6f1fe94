#include "import/scan_bytes.h"

#include <algorithm>
#include <cstring>

namespace lumato::picture {
namespace {

constexpr std::size_t kReadSize = 1 << 15;
constexpr std::uint8_t kMarkerStart = 0xFF;

}  // namespace

// Memory is claimed here alone: a call comes from inside libjpeg, which lets no exception through.
ScanBytes::ScanBytes(const PictureFile& file, std::int64_t offset) : m_file(file), m_offset(offset) {
    m_raw.reserve(kReadSize);
    m_bytes.reserve(2 * kReadSize);
}

ByteSpan ScanBytes::Fetch(std::size_t kept, std::size_t wanted) {
    std::copy_n(m_bytes.begin() + static_cast<std::ptrdiff_t>(m_end - kept), kept, m_bytes.begin());
    m_end = kept;
    while (m_marker == 0 && m_end < wanted) {
        if (m_rawNext == m_raw.size() && !Read())
            return {};
        // Within what was reserved. One more: for a byte whose meaning the last one read did not tell.
        m_bytes.resize(std::max(m_bytes.size(), m_end + m_raw.size() + 1));
        Unstuff();
    }
    return ByteSpan(m_bytes).first(m_end);
}

bool ScanBytes::Read() {
    m_raw.resize(kReadSize);
    const auto got = m_file.ReadAt(m_offset, m_raw);
    m_raw.resize(got ? *got : 0);
    m_offset += static_cast<std::int64_t>(m_raw.size());
    m_rawNext = 0;
    return !m_raw.empty();
}

void ScanBytes::Unstuff() {
    const std::uint8_t* in = m_raw.data() + m_rawNext;
    const std::uint8_t* const end = m_raw.data() + m_raw.size();
    std::uint8_t* out = m_bytes.data() + m_end;
    while (in != end && m_marker == 0) {
        if (m_afterFf) {
            const std::uint8_t meaning = *in++;
            m_afterFf = meaning == kMarkerStart;  // more of them may fill up the space before a marker
            if (meaning == 0)
                *out++ = kMarkerStart;
            else if (!m_afterFf)
                m_marker = meaning;
            continue;
        }
        const auto left = static_cast<std::size_t>(end - in);
        const void* const found = std::memchr(in, kMarkerStart, left);
        const std::size_t plain =
            found == nullptr ? left : static_cast<std::size_t>(static_cast<const std::uint8_t*>(found) - in);
        std::memcpy(out, in, plain);
        out += plain;
        in += plain;
        if (found != nullptr) {
            ++in;
            m_afterFf = true;
        }
    }
    m_rawNext = static_cast<std::size_t>(in - m_raw.data());
    m_end = static_cast<std::size_t>(out - m_bytes.data());
}

}  // namespace lumato::picture
