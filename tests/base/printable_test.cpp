#include "base/printable.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "base/private_text.h"
#include "base/system_library.h"
#include "base/utf8.h"

namespace lumato {
namespace {

using testing::HasSubstr;

TEST(Printable, ShowsTextAndWritesOutTheRest) {
    const struct {
        std::string_view bytes;
        std::string_view shown;
    } rows[] = {
        {"", ""},
        {"Größe 画面 🖼 a\\b.jpg", "Größe 画面 🖼 a\\b.jpg"},
        {"a\nb\tc\rd", "a\\nb\\tc\\rd"},
        {std::string_view("\0\x1B[31m\x7F", 7), "\\x00\\x1B[31m\\x7F"},
        {"\u0085\u009B31m\u00A0", "\\xC2\\x85\\xC2\\x9B31m\u00A0"},
        {"\u202Egpj.exe\u202C", "\\xE2\\x80\\xAEgpj.exe\\xE2\\x80\\xAC"},
        {"\u2066a\u2069\u2028\u2029", "\\xE2\\x81\\xA6a\\xE2\\x81\\xA9\\xE2\\x80\\xA8\\xE2\\x80\\xA9"},
        {"\u2029\u202A\u202F\u2065\u206A", "\\xE2\\x80\\xA9\\xE2\\x80\\xAA\u202F\u2065\u206A"},
        {"Gr\xF6\xDF"
         "e",
         "Gr\\xF6\\xDFe"},
        {"cut \xE2\x82", "cut \\xE2\\x82"},
        {"\xC0\x8A \xED\xA0\x80 \xF4\x90\x80\x80", "\\xC0\\x8A \\xED\\xA0\\x80 \\xF4\\x90\\x80\\x80"},
    };
    for (const auto& row : rows)
        EXPECT_EQ(Printable(row.bytes), row.shown);
}

TEST(PrivateText, LongerNamesGoFirstAndWordsStayWhole) {
    for (const char* name : {"/x/anna b.jpg", "/x/b.jpg c", "/x/anna", "/x/ann"})
        HideFileName(name);
    const struct {
        std::string_view text;
        std::string_view shown;
    } rows[] = {
        {"", ""},
        {"anna b.jpg: no picture", "file 1: no picture"},
        {"/x/anna b.jpg: no picture", "file 1: no picture"},
        {"anna b.jpg c", "file 1 c"},  // the longest, though another one lies across
        {"an anna b.jpg cannot", "an file 1 cannot"},
        {"joanna (anna), anna b.jpgs, _ann", "joanna (file 3), file 3 b.jpgs, _ann"},
        {"ann anna ann", "file 4 file 3 file 4"},
    };
    for (const auto& row : rows)
        EXPECT_EQ(WithoutNames(row.text), row.shown);
}

TEST(Utf8, EveryCharacterComesBackAndNothingElseIsOne) {
    for (char32_t codePoint = 0; codePoint <= 0x110000; ++codePoint) {
        std::string text;
        AppendUtf8(text, codePoint);
        const Utf8Character character = FirstUtf8Character(text + "x");
        const bool isCharacter = codePoint < 0xD800 || (codePoint > 0xDFFF && codePoint < 0x110000);
        ASSERT_TRUE(character.valid);
        ASSERT_EQ(character.length, text.size());
        ASSERT_EQ(character.codePoint, isCharacter ? codePoint : kReplacementCharacter);
        ASSERT_FALSE(FirstUtf8Character(text.substr(0, text.size() - 1) + "x").valid && text.size() > 1);
    }
}

TEST(SystemLibrary, SaysWhichLibraryOrFunctionIsMissing) {
    SystemLibrary mathematics("libm.so.6");
    double (*const cosine)(double) = mathematics["cos"];
    ASSERT_TRUE(mathematics.Check());
    EXPECT_EQ(cosine(0), 1);

    void (*const nothing)() = mathematics["lumato_nothing"];
    void (*const later)() = mathematics["lumato_later"];
    EXPECT_TRUE(nothing == nullptr && later == nullptr);
    ASSERT_FALSE(mathematics.Check());
    EXPECT_EQ(mathematics.Check().error().kind, ErrorKind::Unsupported);
    EXPECT_THAT(mathematics.Check().error().message.English(), HasSubstr("lumato_nothing"));

    SystemLibrary absent("liblumato-absent.so.1");
    void (*const function)() = absent["lumato_nothing"];
    EXPECT_EQ(function, nullptr);
    EXPECT_THAT(absent.Check().error().message.English(), HasSubstr("liblumato-absent.so.1"));
}

}  // namespace
}  // namespace lumato
