#include "text/ini_file.h"

#include "tests/text/language_fixture.h"

namespace lumato::text {
namespace {

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
    const struct {
        const char* what;
        std::u16string_view file;
        std::u16string_view section;
        std::u16string_view key;
        std::u16string_view text;
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
    };
    for (const auto& row : rows) {
        WriteText(row.file);
        EXPECT_EQ(Get(row.section, row.key), row.text) << row.what;
        EXPECT_EQ(m_code, row.code) << row.what;
    }
}

TEST_F(IniFileTest, ALineOf1024CodeUnitsIsTheLongest) {
    const std::u16string text(1022, u'x');
    WriteText(u"[s]\r\nk=" + text + u"\r\n");
    EXPECT_EQ(Get(u"s", u"k"), text);

    WriteText(u"[s]\r\na=1\r\nb=x" + text + u"\r\nk=1\r\n");
    EXPECT_EQ(Get(u"s", u"k"), u"default") << "lines behind the long one are not read";
    EXPECT_EQ(m_code, kLineTooLong);
    EXPECT_EQ(Get(u"s", u"a"), u"1");

    WriteText(std::u16string(1025, u'x') + u"\r\n[s]\r\nk=1\r\n");
    EXPECT_EQ(Get(u"s", u"k"), u"default") << "nor above the header";
    EXPECT_EQ(m_code, kLineTooLong);
}

TEST_F(IniFileTest, FilesThatCannotBeReadGiveDefaults) {
    EXPECT_EQ(Get(u"s", u"k"), u"default");
    EXPECT_EQ(m_code, kCannotOpen) << "missing";
    Write({0xFE, 0xFF, 0, '[', 0, 's', 0, ']'});
    EXPECT_EQ(Get(u"s", u"k"), u"default");
    EXPECT_EQ(m_code, kNotUtf16) << "big-endian";
}

TEST_F(IniFileTest, AnOddLastByteAndAShiftedLineAreReadAsFarAsTheyGo) {
    Bytes bytes = Marked(u"[s]\r\nk=ab");
    bytes.push_back('c');
    Write(bytes);
    EXPECT_EQ(Get(u"s", u"k"), u"ab");

    // The odd byte shifts the terminator behind it, which is found all the same, and the next line with it.
    const Bytes next = Utf16Le(u"\r\nl=2\r\n");
    bytes.insert(bytes.end(), next.begin(), next.end());
    Write(bytes);
    EXPECT_EQ(Get(u"s", u"k"), u"ab");
    EXPECT_EQ(Get(u"s", u"l"), u"2");
}

TEST_F(IniFileTest, LoneSurrogatesAndZeroesAreHandedOutAsTheyStand) {
    const std::u16string odd{u'a', 0xD800, u'b', 0xDC00, 0, u'c'};
    WriteText(u"[s]\r\nk=" + odd + u"\r\n");
    EXPECT_EQ(Get(u"s", u"k"), odd);
}

TEST_F(IniFileTest, APathHolds511Bytes) {
    // A folder chain whose file has a path of exactly `length` bytes.
    const auto deepPath = [this](std::size_t length) {
        std::filesystem::path folder = m_folder / std::string(200, 'a');
        folder /= std::string(length - folder.native().size() - 2 - 100, 'b');
        std::filesystem::create_directories(folder);
        return folder / std::string(100, 'c');
    };
    for (const std::size_t length : {511U, 512U}) {
        const std::filesystem::path path = deepPath(length);
        ASSERT_EQ(path.native().size(), length);
        test::PutBytes(path, Marked(u"[s]\r\nk=text\r\n"));
        m_ini.SetFilePath(path.c_str());
        EXPECT_EQ(Get(u"s", u"k"), length == 511 ? u"text" : u"default");
    }
    m_ini.SetFilePath(m_path.c_str());
    WriteText(u"[s]\r\nk=short\r\n");
    EXPECT_EQ(Get(u"s", u"k"), u"short") << "nothing of the longer path is left";
}

}  // namespace
}  // namespace lumato::text
