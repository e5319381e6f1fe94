#include "text/localized.h"

#include "tests/text/language_fixture.h"
#include "text/ini_file.h"
#include "text/utf16.h"

namespace lumato::text {
namespace {

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
