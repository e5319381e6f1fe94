#include "base/bytes.h"

#include <array>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "base/error.h"

namespace lumato {
namespace {

constexpr std::array<std::uint8_t, 4> kHigh{0x81, 0x92, 0xA3, 0xF4};

TEST(Bytes, NumbersAreReadInBothOrdersUpToTheTopBit) {
    EXPECT_EQ(GetLe16(kHigh), 0x9281U);
    EXPECT_EQ(GetLe24(kHigh), 0xA39281U);
    EXPECT_EQ(GetLe32(kHigh), 0xF4A39281U);
    EXPECT_EQ(GetBe16(kHigh), 0x8192U);
    EXPECT_EQ(GetBe24(kHigh), 0x8192A3U);
    EXPECT_EQ(GetBe32(kHigh), 0x8192A3F4U);
}

TEST(Bytes, WritersTouchTheirBytesOnlyAndCutWhatIsAbove) {
    const struct {
        void (*put)(MutableByteSpan, std::uint32_t);
        std::array<std::uint8_t, 5> bytes;
    } rows[] = {
        {PutLe16, {0xF4, 0xA3, 0xEE, 0xEE, 0xEE}}, {PutLe24, {0xF4, 0xA3, 0x92, 0xEE, 0xEE}},
        {PutLe32, {0xF4, 0xA3, 0x92, 0x81, 0xEE}}, {PutBe16, {0xA3, 0xF4, 0xEE, 0xEE, 0xEE}},
        {PutBe24, {0x92, 0xA3, 0xF4, 0xEE, 0xEE}}, {PutBe32, {0x81, 0x92, 0xA3, 0xF4, 0xEE}},
    };
    for (const auto& row : rows) {
        std::array<std::uint8_t, 5> bytes;
        bytes.fill(0xEE);
        row.put(bytes, 0x8192A3F4U);
        EXPECT_EQ(bytes, row.bytes);
    }
}

TEST(Bytes, TheSumWrapsAt65536) {
    EXPECT_EQ(Sum16({}), 0U);
    EXPECT_EQ(Sum16(std::vector<std::uint8_t>(257, 0xFF)), 65535U);
    EXPECT_EQ(Sum16(std::vector<std::uint8_t>(65536, 0xFF)), 0U);
    EXPECT_EQ(Sum16(std::vector<std::uint8_t>(65537, 0xFF)), 0xFFU);
}

// What the error macros hand on, and how often they evaluate what they are given.
struct Calls {
    int made = 0;
    Result<std::string> Make(bool good) {
        ++made;
        if (good)
            return "value";
        return Fail(ErrorKind::Busy, "taken");
    }
    Result<void> Check(bool good) {
        ++made;
        if (good)
            return {};
        return Fail(ErrorKind::Gone, "vanished");
    }
    Result<std::size_t> Use(bool first, bool second) {
        LUMATO_TRY(const std::string text, Make(first));
        LUMATO_TRY_VOID(Check(second));
        return text.size();
    }
};

TEST(ErrorMacros, HandOnTheFirstErrorAndEvaluateOnce) {
    Calls calls;
    EXPECT_EQ(calls.Use(true, true), Result<std::size_t>(5));
    EXPECT_EQ(calls.made, 2);
    EXPECT_EQ(calls.Use(false, true).error(), (Error{ErrorKind::Busy, "taken"}));
    EXPECT_EQ(calls.made, 3) << "nothing behind the error is run";
    EXPECT_EQ(Context("opening", calls.Use(true, false).error()),
              (Error{ErrorKind::Gone, "opening: vanished"}));
}

}  // namespace
}  // namespace lumato
