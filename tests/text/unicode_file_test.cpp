#include "text/unicode_file.h"

#include <limits>

#include "tests/text/language_fixture.h"

namespace lumato::text {
namespace {

constexpr int kUntouched = -7;

struct Line {
    int code = kUntouched;
    int length = kUntouched;
    Bytes bytes;
};

class UnicodeFileTest : public LanguageFixture {
  protected:
    CUnicodeFile m_file;

    int Load() { return m_file.Load(m_path.c_str()); }
    int Load(const Bytes& bytes) {
        Write(bytes);
        return Load();
    }
    Line ReadLine(int capacity = 2048) {
        Line line;
        line.bytes.resize(4096, 0xEE);
        line.code = m_file.ReadLine(line.bytes.data(), capacity, line.length);
        line.bytes.resize(line.code == kSuccess ? static_cast<std::size_t>(line.length) : 0);
        return line;
    }
};

TEST_F(UnicodeFileTest, LoadTellsUtf16FromEverythingElse) {
    const struct {
        const char* what;
        Bytes bytes;
        int code;
    } rows[] = {
        {"empty", {}, 7},
        {"one byte", {0xFF}, 7},
        {"a mark alone", {0xFF, 0xFE}, 0},
        {"a mark and half a code unit", {0xFF, 0xFE, 'a'}, 0},
        {"big-endian", {0xFE, 0xFF, 0, 'a'}, 7},
        {"UTF-8 with its mark", {0xEF, 0xBB, 0xBF, 'a'}, 7},
        {"little-endian without a mark", {'[', 0, 'a', 0}, 7},
    };
    for (const auto& row : rows)
        EXPECT_EQ(Load(row.bytes), row.code) << row.what;
}

TEST_F(UnicodeFileTest, AHugeFileIsRefusedAndTheLargestIsRead) {
    WriteText(u"a");
    std::filesystem::resize_file(m_path, CUnicodeFile::kLargestFile);
    EXPECT_EQ(Load(), kSuccess);
    EXPECT_EQ(ReadLine().code, kLineTooLong);
    std::filesystem::resize_file(m_path, CUnicodeFile::kLargestFile + 1ULL);
    EXPECT_EQ(Load(), kCannotOpen);
}

TEST_F(UnicodeFileTest, AFailedLoadLeavesNothingOfAnEarlierFile) {
    ASSERT_EQ(Load(Marked(u"old\r\n")), kSuccess);
    ASSERT_EQ(ReadLine().code, kSuccess);
    ASSERT_EQ(Load({0xFE, 0xFF}), kNotUtf16);
    EXPECT_EQ(ReadLine().code, kNoLine);
    EXPECT_EQ(m_file.GetNextLineOffset(), -1);
}

TEST_F(UnicodeFileTest, LinesEndAtCarriageReturnAndLineFeedWhereverTheseStand) {
    const struct {
        Bytes file;
        std::vector<Bytes> lines;
    } rows[] = {
        {Marked(u""), {}},
        {Marked(u"one\r\n\r\ntwo"), {Utf16Le(u"one"), {}, Utf16Le(u"two")}},
        {Marked(u"a\nb\rc\n\rd\r\r\n"), {Utf16Le(u"a\nb\rc\n\rd\r")}},
        // Between the code units U+0D41, U+0A00 and U+4200 stand the bytes 0D 00 0A 00, one byte off.
        {{0xFF, 0xFE, 0x41, 0x0D, 0x00, 0x0A, 0x00, 0x42, 0x43}, {{0x41}, {0x42, 0x43}}},
        // A terminator cut short is none.
        {{0xFF, 0xFE, 'a', 0, 0x0D, 0x00, 0x0A}, {{'a', 0, 0x0D, 0x00, 0x0A}}},
    };
    for (const auto& row : rows) {
        ASSERT_EQ(Load(row.file), kSuccess);
        m_file.Seek(2, CUnicodeFile::kSeekBegin);
        for (const Bytes& line : row.lines)
            EXPECT_EQ(ReadLine().bytes, line);
        EXPECT_EQ(ReadLine().code, kNoLine);
    }
}

TEST_F(UnicodeFileTest, ReadsFromWhereASeekLeads) {
    const long farthest = std::numeric_limits<long>::max();
    const struct {
        long offset;
        CUnicodeFile::SeekPosition origin;
        int code;
        Bytes bytes;
    } rows[] = {
        {0, CUnicodeFile::kSeekBegin, kSuccess, {0xFF, 0xFE, 'a', 0}},
        {2, CUnicodeFile::kSeekBegin, kSuccess, {'a', 0}},
        {3, CUnicodeFile::kSeekBegin, kSuccess, {0}},
        {-2, CUnicodeFile::kSeekEnd, kSuccess, {'b', 0}},
        {0, CUnicodeFile::kSeekEnd, kNoLine, {}},
        {1, CUnicodeFile::kSeekEnd, kNoLine, {}},
        {-1, CUnicodeFile::kSeekBegin, kNoLine, {}},
        {farthest, CUnicodeFile::kSeekEnd, kNoLine, {}},
        {-farthest - 1, CUnicodeFile::kSeekBegin, kNoLine, {}},
    };
    ASSERT_EQ(Load(Marked(u"a\r\nb")), kSuccess);
    for (const auto& row : rows) {
        EXPECT_EQ(m_file.Seek(row.offset, row.origin), kSuccess);
        const Line line = ReadLine();
        EXPECT_EQ(line.code, row.code) << row.offset << " from " << row.origin;
        EXPECT_EQ(line.bytes, row.bytes) << row.offset << " from " << row.origin;
    }
    m_file.Seek(0, CUnicodeFile::kSeekBegin);
    m_file.Seek(-100, CUnicodeFile::kSeekCurrent);
    EXPECT_EQ(ReadLine().code, kNoLine);
    EXPECT_EQ(m_file.Seek(1, static_cast<CUnicodeFile::SeekPosition>(3)), kUnknownOrigin);
    m_file.Seek(102, CUnicodeFile::kSeekCurrent);
    EXPECT_EQ(m_file.GetNextLineOffset(), 2) << "-100 + 102, and an unknown origin moves nothing";
}

}  // namespace
}  // namespace lumato::text
