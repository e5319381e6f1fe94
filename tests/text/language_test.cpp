// What of the language file cannot be asked for from outside; the rest is in tests/independent/.
#include <cstdint>
#include <limits>
#include <string>
#include <string_view>
#include <vector>

#include <gtest/gtest.h>

#include "tests/support/temporary_folder.h"
#include "text/ini_file.h"
#include "text/localized.h"
#include "text/unicode_file.h"
#include "text/utf16.h"

namespace lumato::text {
namespace {

using Bytes = std::vector<std::uint8_t>;

// The code units as UTF-16LE behind their mark.
Bytes Marked(std::u16string_view text) {
    Bytes bytes{0xFF, 0xFE};
    for (const char16_t unit : text) {
        bytes.push_back(static_cast<std::uint8_t>(unit & 0xFF));
        bytes.push_back(static_cast<std::uint8_t>(unit >> 8));
    }
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

using UnicodeFileTest = LanguageFixture;

TEST_F(UnicodeFileTest, ReadsFromWhereASeekLeads) {
    const long farthest = std::numeric_limits<long>::max();
    const struct {
        long offset;
        int origin, code;
        Bytes bytes;
    } rows[] = {
        {2, CUnicodeFile::kSeekBegin, kSuccess, {'a', 0}},
        {-5, CUnicodeFile::kSeekCurrent, kSuccess, {0}},  // behind the terminator, which the line before took
        {-2, CUnicodeFile::kSeekEnd, kSuccess, {'b', 0}},
        {5, 3, kUnknownOrigin, {}},  // moves nothing
        {-2, CUnicodeFile::kSeekCurrent, kSuccess, {'b', 0}},
        {0, CUnicodeFile::kSeekEnd, kNoLine, {}},
        {-1, CUnicodeFile::kSeekBegin, kNoLine, {}},
        {farthest, CUnicodeFile::kSeekEnd, kNoLine, {}},
        {farthest, CUnicodeFile::kSeekCurrent, kNoLine, {}},
    };
    CUnicodeFile file;
    Write(Marked(u"a\r\nb"));
    ASSERT_EQ(file.Load(m_path.c_str()), kSuccess);
    for (const auto& row : rows) {
        Bytes line(8);
        int length = 0;
        int code = file.Seek(row.offset, static_cast<CUnicodeFile::SeekPosition>(row.origin));
        if (code == kSuccess)
            code = file.ReadLine(line.data(), 8, length);
        line.resize(static_cast<std::size_t>(length));
        EXPECT_EQ(code, row.code) << row.offset << " from " << row.origin;
        EXPECT_EQ(line, row.bytes) << row.offset << " from " << row.origin;
    }
    Write({0xFE, 0xFF});
    file.Seek(2, CUnicodeFile::kSeekBegin);
    ASSERT_EQ(file.Load(m_path.c_str()), kNotUtf16);
    file.Seek(2, CUnicodeFile::kSeekBegin);
    EXPECT_EQ(file.GetNextLineOffset(), -1) << "nothing of the earlier file is left";
}

TEST_F(UnicodeFileTest, ALookUpSaysWhyItFoundNothing) {
    CIniFile ini;
    std::u16string out;
    ini.SetFilePath((m_folder / std::string(200, 'n')).c_str());
    EXPECT_EQ(ini.GetString(u"s", u"k", u"", out), kCannotOpen);
    ini.SetFilePath(m_path.c_str());  // nothing of the longer path is left
    const std::u16string tooLong(1025, u'x');
    for (const auto& [text, code] : {std::pair<std::u16string, int>{u"[s]\r\nk=1", kSuccess},
                                     {u"[s]\r\nl=1", kNoLine},
                                     {u"", kNoLine},
                                     {u"[s]\r\n" + tooLong, kLineTooLong},
                                     {tooLong + u"\r\n[s]", kLineTooLong}}) {
        WriteText(text);
        EXPECT_EQ(ini.GetString(u"s", u"k", u"", out), code);
    }
    Write({0xFE, 0xFF});
    EXPECT_EQ(ini.GetString(u"s", u"k", u"", out), kNotUtf16);
}

TEST(Utf16, ReplacesWhatIsNoText) {
    const struct {
        std::u16string utf16;
        std::string_view utf8;
    } lone[] = {
        {{0xD800}, "\uFFFD"},
        {{0xDC00}, "\uFFFD"},
        {{0xD800, u'a'}, "\uFFFDa"},
        {{0xDC00, 0xD800}, "\uFFFD\uFFFD"},
        {{0xD800, 0xD800, 0xDC00}, "\uFFFD\U00010000"},
    };
    for (const auto& row : lone)
        EXPECT_EQ(Utf8FromUtf16(row.utf16), row.utf8);

    EXPECT_EQ(Utf16FromUtf8("a\x80z\xE2\x82"), u"a\uFFFDz\uFFFD\uFFFD");
}

TEST(FitForControl, CutsBetweenCharacters) {
    const auto repeated = [](std::string_view piece, std::size_t count) {
        std::string text;
        for (std::size_t i = 0; i < count; ++i)
            text += piece;
        return text;
    };
    const struct {
        std::string text;
        std::size_t kept;
    } rows[] = {
        {std::string(511, 'a'), 511},          {std::string(512, 'a'), 511},
        {repeated("\u00E9", 256), 510},        {repeated("\u753B", 171), 510},
        {"ab" + repeated("\u753B", 171), 509}, {repeated("\U0001F5BC", 128), 508},
        {std::string(600, '\x80'), 511},
    };
    for (const auto& row : rows)
        EXPECT_EQ(FitForControl(row.text), row.text.substr(0, row.kept)) << row.text;
}

class LocalizedTest : public LanguageFixture {
  protected:
    void SetUp() override { SetLanguageFile(m_path); }
    void TearDown() override { SetLanguageFile(""); }
};

TEST_F(LocalizedTest, AnOlderFileOfOursIsCompletedFromTheOneThatCameWithTheProgram) {
    const std::string own = m_folder / "own.ini";
    test::PutBytes(own, Marked(u"[German]\r\nLANGUAGE_NAME=Deutsch\r\nk=neu\r\nl=auch neu\r\n"));
    SetOwnLanguageFile(own);
    WriteText(u"[language]\r\nlanguage_1=German\r\n[German]\r\nLANGUAGE_NAME=Deutsch\r\nk=alt\r\ne=\r\n");
    EXPECT_EQ(Localized("k", "default"), "alt");
    EXPECT_EQ(Localized("e", "default"), "") << "an empty text is one";
    EXPECT_EQ(Localized("l", "default"), "auch neu");
    EXPECT_EQ(Localized("m", "default"), "default");
    WriteText(u"[language]\r\nlanguage_1=German\r\n[German]\r\nk=alt\r\n");
    EXPECT_EQ(Localized("l", "default"), "default") << "a file of somebody's own says all there is to say";
    SetOwnLanguageFile("");
}

}  // namespace
}  // namespace lumato::text
