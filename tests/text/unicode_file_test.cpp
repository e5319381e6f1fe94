#include "text/unicode_file.h"

#include <limits>

#include <sys/stat.h>
#include <unistd.h>

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
    // The lines after the mark until one cannot be read, whose code is `end`.
    std::vector<Bytes> Lines(int& end) {
        std::vector<Bytes> lines;
        m_file.Seek(2, CUnicodeFile::kSeekBegin);
        for (;;) {
            const Line line = ReadLine();
            end = line.code;
            if (line.code != kSuccess)
                return lines;
            lines.push_back(line.bytes);
        }
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

TEST_F(UnicodeFileTest, WhatIsNoPlainReadableFileCannotBeOpenedAndNeverHangs) {
    EXPECT_EQ(Load(), kCannotOpen) << "missing";
    EXPECT_EQ(m_file.Load(""), kCannotOpen);
    EXPECT_EQ(m_file.Load(m_folder.Get().c_str()), kCannotOpen) << "a folder";
    EXPECT_EQ(m_file.Load("/dev/zero"), kCannotOpen) << "a device without an end";
    EXPECT_EQ(m_file.Load(std::string(5000, 'a').c_str()), kCannotOpen) << "no path";
    ASSERT_EQ(::mkfifo(m_path.c_str(), 0600), 0);
    EXPECT_EQ(Load(), kCannotOpen) << "a pipe that nobody writes";
}

TEST_F(UnicodeFileTest, AFileWithoutReadPermissionCannotBeOpened) {
    if (::geteuid() == 0)
        GTEST_SKIP() << "root reads everything";
    WriteText(u"a");
    ASSERT_EQ(::chmod(m_path.c_str(), 0), 0);
    EXPECT_EQ(Load(), kCannotOpen);
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

TEST_F(UnicodeFileTest, LinesEndAtCarriageReturnAndLineFeedOnly) {
    const struct {
        std::u16string_view text;
        std::vector<std::u16string> lines;
    } rows[] = {
        {u"", {}},
        {u"last", {u"last"}},
        {u"one\r\n", {u"one"}},
        {u"one\r\n\r\ntwo", {u"one", u"", u"two"}},
        {u"a\nb\rc\n\rd", {u"a\nb\rc\n\rd"}},
        {u"a\r\r\nb", {u"a\r", u"b"}},
        {u"\r\n", {u""}},
        {std::u16string_view(u"a\0b\r\nc", 6), {std::u16string(u"a\0b", 3), u"c"}},
    };
    for (const auto& row : rows) {
        ASSERT_EQ(Load(Marked(row.text)), kSuccess);
        std::vector<Bytes> expected;
        for (const auto& line : row.lines)
            expected.push_back(Utf16Le(line));
        int end = kUntouched;
        EXPECT_EQ(Lines(end), expected);
        EXPECT_EQ(end, kNoLine);
    }
}

TEST_F(UnicodeFileTest, TerminatorsAreSoughtAtEveryByte) {
    // Between the code units U+0D41, U+0A00 and U+4200 stand the bytes 0D 00 0A 00, one byte off.
    ASSERT_EQ(Load({0xFF, 0xFE, 0x41, 0x0D, 0x00, 0x0A, 0x00, 0x42, 0x43}), kSuccess);
    int end = kUntouched;
    EXPECT_EQ(Lines(end), (std::vector<Bytes>{{0x41}, {0x42, 0x43}}));
    EXPECT_EQ(end, kNoLine);

    ASSERT_EQ(Load({0xFF, 0xFE, 'a', 0, 0x0D, 0x00, 0x0A}), kSuccess);
    EXPECT_EQ(Lines(end), (std::vector<Bytes>{{'a', 0, 0x0D, 0x00, 0x0A}}))
        << "a terminator cut short is none";
}

TEST_F(UnicodeFileTest, ALineLongerThanTheBufferStaysToBeRead) {
    ASSERT_EQ(Load(Marked(u"abcd\r\nef")), kSuccess);
    m_file.Seek(2, CUnicodeFile::kSeekBegin);
    for (int i = 0; i < 2; ++i) {
        const Line line = ReadLine(7);
        EXPECT_EQ(line.code, kLineTooLong);
        EXPECT_EQ(line.length, 8);
    }
    EXPECT_EQ(ReadLine(8).bytes, Utf16Le(u"abcd"));
    EXPECT_EQ(ReadLine(4).bytes, Utf16Le(u"ef"));
    EXPECT_EQ(ReadLine(4).code, kNoLine);
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
}

TEST_F(UnicodeFileTest, SeeksAddUpFromTheCurrentPosition) {
    ASSERT_EQ(Load(Marked(u"a\r\nb")), kSuccess);
    m_file.Seek(2, CUnicodeFile::kSeekCurrent);
    EXPECT_EQ(m_file.GetNextLineOffset(), 2);
    EXPECT_EQ(m_file.Seek(1, static_cast<CUnicodeFile::SeekPosition>(3)), kUnknownOrigin);
    EXPECT_EQ(m_file.GetNextLineOffset(), 2) << "an unknown origin moves nothing";
    m_file.Seek(6, CUnicodeFile::kSeekCurrent);
    EXPECT_EQ(m_file.GetNextLineOffset(), -1);
    EXPECT_EQ(ReadLine().bytes, Utf16Le(u"b"));
    m_file.Seek(-100, CUnicodeFile::kSeekCurrent);
    EXPECT_EQ(ReadLine().code, kNoLine);
    m_file.Seek(90, CUnicodeFile::kSeekCurrent);  // back at the first byte: 10 - 100 + 90
    EXPECT_EQ(ReadLine().bytes, (Bytes{0xFF, 0xFE, 'a', 0}));
}

}  // namespace
}  // namespace lumato::text
