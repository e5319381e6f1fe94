// The language file: as bytes and lines, as sections and entries, and as what the program looks up.
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

// The code units as UTF-16LE, without a mark.
Bytes Utf16Le(std::u16string_view text) {
    Bytes bytes;
    for (const char16_t unit : text) {
        bytes.push_back(static_cast<std::uint8_t>(unit & 0xFF));
        bytes.push_back(static_cast<std::uint8_t>(unit >> 8));
    }
    return bytes;
}

Bytes Marked(std::u16string_view text) {
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

class IniFileTest : public LanguageFixture {
  protected:
    CIniFile m_ini;
    int m_code = -1;

    void SetUp() override { m_ini.SetFilePath(m_path.c_str()); }
    std::u16string Get(std::u16string_view section, std::u16string_view key) {
        std::u16string out = u"left over";
        m_code = m_ini.GetString(section, key, u"default", out);
        return out;
    }
};

TEST_F(IniFileTest, FindsWhatTheFormatSays) {
    const std::u16string longest(1022, u'x'), surrogates{u'a', 0xD800, u'b', 0xDC00, 0, u'c'};
    const struct {
        const char* what;
        std::u16string file, section, key, text;
        int code;
    } rows[] = {
        {"an entry", u"[s]\r\nk=text\r\n", u"s", u"k", u"text", 0},
        {"a last line without an end", u"[s]\r\nk=text", u"s", u"k", u"text", 0},
        {"an empty text", u"[s]\r\nk=\r\n", u"s", u"k", u"", 0},
        {"blanks and more equals signs", u"[s]\r\nk= a=b = \r\n", u"s", u"k", u" a=b = ", 0},
        {"a later section", u"[r]\r\nk=r\r\n[s]\r\nk=s\r\n", u"s", u"k", u"s", 0},
        {"other lines", u"[s]\r\n\r\n; k=no\r\nnothing\r\nk=text\r\n", u"s", u"k", u"text", 0},
        {"lone breaks", u"[s]\r\nk=a\nb\rc\r\n", u"s", u"k", u"a\nb\rc", 0},
        {"a key with a blank and a colon", u"[s]\r\nTotal Picture=1\r\nScale:=2\r\n", u"s", u"Scale:", u"2",
         0},
        {"a section and a key beyond ASCII", u"[日]\r\nü=text\r\n", u"日", u"ü", u"text", 0},
        {"the first of two entries", u"[s]\r\nk=1\r\nk=2\r\n", u"s", u"k", u"1", 0},
        {"the first of two sections", u"[s]\r\na=1\r\n[s]\r\nk=2\r\n", u"s", u"k", u"default", 0},
        {"the section's end", u"[s]\r\n[\r\nk=2\r\n", u"s", u"k", u"default", 0},
        {"a key that begins with a bracket", u"[s]\r\n[k=2\r\n", u"s", u"[k", u"default", 0},
        {"a blank before the equals sign", u"[s]\r\nk =1\r\n", u"s", u"k", u"default", 10},
        {"a blank before the key", u"[s]\r\n k=1\r\n", u"s", u"k", u"default", 10},
        {"the tail of a key", u"[s]\r\nOK_BUTTON=1\r\n", u"s", u"BUTTON", u"default", 10},
        {"the head of a key", u"[s]\r\nDelete_All=1\r\n", u"s", u"Delete", u"default", 10},
        {"another letter case of a key", u"[s]\r\nK=1\r\n", u"s", u"k", u"default", 10},
        {"another letter case of a section", u"[S]\r\nk=1\r\n", u"s", u"k", u"default", 10},
        {"a header with a blank", u"[s] \r\nk=1\r\n", u"s", u"k", u"default", 10},
        {"a header with something before", u" [s]\r\nk=1\r\n", u"s", u"k", u"default", 10},
        {"an entry above all headers", u"k=1\r\n[s]\r\n", u"s", u"k", u"default", 10},
        {"line feeds only", u"[s]\nk=1\n", u"s", u"k", u"default", 10},
        {"no section at all", u"", u"s", u"k", u"default", 10},
        {"the section of no name", u"[]\r\nk=1\r\n", u"", u"k", u"1", 0},
        {"lone surrogates and a zero", u"[s]\r\nk=" + surrogates, u"s", u"k", surrogates, 0},
        {"a line of 1024 code units", u"[s]\r\nk=" + longest + u"\r\n", u"s", u"k", longest, 0},
        {"one above a longer one", u"[s]\r\na=1\r\nb=x" + longest, u"s", u"a", u"1", 0},
        {"one below a longer one", u"[s]\r\nb=x" + longest + u"\r\nk=1", u"s", u"k", u"default", 8},
        {"a header below a longer one", u"xxx" + longest + u"\r\n[s]\r\nk=1", u"s", u"k", u"default", 8},
    };
    for (const auto& row : rows) {
        WriteText(row.file);
        EXPECT_EQ(Get(row.section, row.key), row.text) << row.what;
        EXPECT_EQ(m_code, row.code) << row.what;
    }
}

TEST_F(IniFileTest, OtherFilesGiveDefaults) {
    EXPECT_EQ(Get(u"s", u"k"), u"default");
    EXPECT_EQ(m_code, kCannotOpen) << "missing";
    const struct {
        const char* what;
        Bytes bytes;
        int code;
    } rows[] = {
        {"empty", {}, 7},
        {"one byte", {0xFF}, 7},
        {"a mark alone", {0xFF, 0xFE}, 10},
        {"a mark and half a code unit", {0xFF, 0xFE, 'a'}, 10},
        {"big-endian", {0xFE, 0xFF, 0, '[', 0, 's', 0, ']'}, 7},
        {"UTF-8 with its mark", {0xEF, 0xBB, 0xBF, 'a'}, 7},
        {"little-endian without a mark", {'[', 0, 's', 0}, 7},
    };
    for (const auto& row : rows) {
        Write(row.bytes);
        EXPECT_EQ(Get(u"s", u"k"), u"default") << row.what;
        EXPECT_EQ(m_code, row.code) << row.what;
    }
    WriteText(u"[s]\r\nk=1\r\n");
    for (const std::uintmax_t more : {0U, 1U}) {
        std::filesystem::resize_file(m_path, CUnicodeFile::kLargestFile + more);
        EXPECT_EQ(Get(u"s", u"k"), more == 0 ? u"1" : u"default") << "the largest, or a huge one";
    }
}

TEST_F(IniFileTest, AnOddLastByteAndAShiftedLineAreReadAsFarAsTheyGo) {
    const auto get = [this](Bytes bytes, const Bytes& behind, std::u16string_view key) {
        bytes.insert(bytes.end(), behind.begin(), behind.end());
        Write(bytes);
        return Get(u"s", key);
    };
    const Bytes ab = Marked(u"[s]\r\nk=ab");
    EXPECT_EQ(get(ab, {'c'}, u"k"), u"ab");
    EXPECT_EQ(get(ab, {'\r', 0, '\n'}, u"k"), u"ab\r") << "a terminator cut short is none";
    EXPECT_EQ(get(ab, Utf16Le(u"\n\rd\r\r\n"), u"k"), u"ab\n\rd\r");

    // The odd byte shifts the terminator behind it, which is found all the same, and the next line with it.
    Bytes shifted = Utf16Le(u"\r\nl=2\r\n");
    shifted.insert(shifted.begin(), 'c');
    EXPECT_EQ(get(ab, shifted, u"k"), u"ab");
    EXPECT_EQ(Get(u"s", u"l"), u"2");
    // Between the code units U+0D41, U+0A00 and U+4200 stand the bytes 0D 00 0A 00, one byte off.
    EXPECT_EQ(get(ab, {0x41, 0x0D, 0x00, 0x0A, 0x00, 0x42, 0x43}, u"k"), u"ab");
}

TEST_F(IniFileTest, APathHolds511Bytes) {
    WriteText(u"[s]\r\nk=text\r\n");
    for (const std::size_t length : {512U, 511U}) {
        const std::string slashes(length - m_folder.Get().native().size() - 12, '/');
        m_ini.SetFilePath((m_folder.Get().native() + slashes + "Language.ini").c_str());
        EXPECT_EQ(Get(u"s", u"k"), length == 511 ? u"text" : u"default");
    }
    m_ini.SetFilePath(m_path.c_str());
    EXPECT_EQ(Get(u"s", u"k"), u"text") << "nothing of the longer path is left";
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

TEST_F(LocalizedTest, TheChosenSectionGivesTheText) {
    EXPECT_EQ(Localized("k", "d\u00E9faut"), "d\u00E9faut") << "no file";
    WriteText(u"[language]\r\nlanguage_1=日本\r\n[English]\r\nk=en\r\n[日本]\r\nk=画像 🖼\r\n");
    EXPECT_EQ(Localized("k", "default"), "\u753B\u50CF \U0001F5BC");
    EXPECT_EQ(Localized("other", "default"), "default");
    EXPECT_EQ(LookUp("English", "k", "default"), "en");
    WriteText(u"[language]\r\nlanguage_1=Missing\r\n[English]\r\nk=en\r\n");
    EXPECT_EQ(Localized("k", "default"), "default") << "no second choice";
}

TEST_F(LocalizedTest, WithoutAChoiceOnlyTheQuitConfirmationKeepsItsDefaults) {
    WriteText(u"[English]\r\nk=en\r\n[]\r\n");
    EXPECT_EQ(Localized("k", "default"), "en");
    EXPECT_EQ(Localized("k", "default", ""), "default");
    WriteText(u"[language]\r\nlanguage_1=English\r\n[English]\r\nk=en\r\n");
    EXPECT_EQ(Localized("k", "default", ""), "en");
}

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

TEST(ShippedLanguageFile, IsRead) {
    SetLanguageFile(LUMATO_LANGUAGE_FILE);
    EXPECT_EQ(LookUp("language", "language_1", ""), "English");
    EXPECT_EQ(LookUp("German", "CANCLE_BUTTON", ""), "Abbrechen");
    EXPECT_EQ(LookUp("Japanese", "Add", ""), "\u8FFD\u52A0");
    SetLanguageFile("");
}

}  // namespace
}  // namespace lumato::text
