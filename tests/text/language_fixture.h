// A language file of a test's own and the byte forms that the tests write.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include <gtest/gtest.h>

#include "tests/support/temporary_folder.h"

namespace lumato::text {

using Bytes = std::vector<std::uint8_t>;

// The code units as UTF-16LE, without a mark.
inline Bytes Utf16Le(std::u16string_view text) {
    Bytes bytes;
    for (const char16_t unit : text) {
        bytes.push_back(static_cast<std::uint8_t>(unit & 0xFF));
        bytes.push_back(static_cast<std::uint8_t>(unit >> 8));
    }
    return bytes;
}

inline Bytes Marked(std::u16string_view text) {
    Bytes bytes = Utf16Le(text);
    bytes.insert(bytes.begin(), {0xFF, 0xFE});
    return bytes;
}

class LanguageFixture : public testing::Test {
  protected:
    const test::TemporaryFolder m_folder;
    const std::string m_path = m_folder / "Language.ini";

    // Some disks wait when a file is emptied and written again; a new one costs nothing.
    void Write(const Bytes& bytes) const {
        std::filesystem::remove(m_path);
        test::PutBytes(m_path, bytes);
    }
    void WriteText(std::u16string_view text) const { Write(Marked(text)); }
};

}  // namespace lumato::text
