#include "vframe/bulk_only.h"

#include <numeric>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/vframe/frame_driver.h"

namespace lumato::vframe {
namespace {

using testing::ElementsAre;

constexpr std::size_t kFlashSize = 131072;

Bytes Numbered() {
    Bytes flash(kFlashSize);
    std::iota(flash.begin(), flash.end(), std::uint8_t{1});
    return flash;
}

// A host that speaks bulk-only transport with a frame whose flash holds 1, 2, 3, ...
class BulkOnlyTest : public testing::Test {
  protected:
    static Bytes ReadFlash(std::uint8_t length) {
        return {0xCD, 0, 0, 0, 0, 0, 4, 0, 0, length, 0x03, 0, 0, 0, 0, 0};
    }
    // The bytes of an answer; a halt reads as the one byte EE, silence as none.
    Bytes Give(std::size_t length) {
        const std::optional<BulkOnly::Answer> answer = m_storage.Give(length);
        return !answer ? Bytes() : answer->halted ? Bytes{0xEE} : answer->bytes;
    }
    // Status and residue of a well-formed status wrapper.
    std::pair<int, std::uint32_t> Status() {
        const Bytes wrapper = Give(13);
        if (wrapper.size() != 13 || GetLe32(wrapper) != 0x53425355 ||
            GetLe32(ByteSpan(wrapper).subspan(4)) != 0x12345678)
            return {-1, 0};
        return {wrapper[12], GetLe32(ByteSpan(wrapper).subspan(8))};
    }

    PluggedFrame m_frame{FlashImage::InMemory(Numbered()), {}};
    BulkOnly m_storage{m_frame, m_frame};
};

using Outcome = std::pair<int, std::uint32_t>;

TEST_F(BulkOnlyTest, DataAndStatusFollowACommandInPiecesOfAnySize) {
    EXPECT_THAT(Give(512), ElementsAre()) << "nothing was asked";
    ASSERT_TRUE(m_storage.Take(CommandWrapper(ReadFlash(5), 5, true)));
    EXPECT_THAT(Give(3), ElementsAre(1, 2, 3));
    EXPECT_THAT(Give(3), ElementsAre(4, 5));
    EXPECT_EQ(Status(), Outcome(0, 0U));
    EXPECT_THAT(Give(13), ElementsAre());

    const Bytes enable = {0xCB, 0, 0, 0, 0, 0, 1, 0, 0, 0, 0x06, 0, 0, 0, 0, 0};
    ASSERT_TRUE(m_storage.Take(CommandWrapper(enable, 0, false)));
    EXPECT_EQ(Status(), Outcome(0, 0U));
    const Bytes program = {0xCB, 0, 0, 0, 0, 0, 4, 0, 0, 4, 0x02, 0, 0, 0, 0, 0};
    ASSERT_TRUE(m_storage.Take(CommandWrapper(program, 4, false)));
    EXPECT_THAT(Give(13), ElementsAre()) << "its data are still to come";
    ASSERT_TRUE(m_storage.Take(Bytes{0, 0}));
    ASSERT_TRUE(m_storage.Take(Bytes{0, 0}));
    EXPECT_EQ(Status().second, 0U);
}

TEST_F(BulkOnlyTest, FewerDataThanExpectedEndShortOrHalted) {
    const Bytes inquiry = {0x12, 0, 0, 0, 64, 0};
    ASSERT_TRUE(m_storage.Take(CommandWrapper(inquiry, 64, true)));
    EXPECT_EQ(Give(64).size(), 36U);
    EXPECT_EQ(Status(), Outcome(0, 28U));

    // The data fill the host's request, so that only a halt tells their end.
    ASSERT_TRUE(m_storage.Take(CommandWrapper(inquiry, 64, true)));
    EXPECT_EQ(Give(36).size(), 36U);
    EXPECT_THAT(Give(28), ElementsAre(0xEE));
    EXPECT_THAT(Give(13), ElementsAre(0xEE)) << "until the halt is cleared";
    m_storage.ClearHalt(true);
    EXPECT_EQ(Status(), Outcome(0, 28U));

    const Bytes unknown = {0xD0, 0, 0, 0, 0, 0};
    ASSERT_TRUE(m_storage.Take(CommandWrapper(unknown, 8, true)));
    EXPECT_THAT(Give(8), ElementsAre(0xEE));
    m_storage.ClearHalt(true);
    EXPECT_EQ(Status(), Outcome(1, 8U));
}

TEST_F(BulkOnlyTest, WrappersThatCannotBeHaltTheDeviceUntilItIsReset) {
    const Bytes good = CommandWrapper(ReadFlash(5), 5, true);
    std::vector<Bytes> bad = {Bytes(good.begin(), good.end() - 1), Bytes(512), good, good, good, good};
    bad[2][0] ^= 1;     // signature
    bad[3][14] = 17;    // longer than a command block
    bad[4][13] = 1;     // no such unit
    bad[5][11] = 0x7F;  // two gigabytes
    for (std::size_t i = 0; i < bad.size(); ++i) {
        SCOPED_TRACE(i);
        EXPECT_FALSE(m_storage.Take(bad[i]));
        m_storage.ClearHalt(true);
        EXPECT_THAT(Give(13), ElementsAre(0xEE));
        EXPECT_FALSE(m_storage.Take(good));
        m_storage.Reset();
    }
    ASSERT_TRUE(m_storage.Take(good));
    EXPECT_THAT(Give(5), ElementsAre(1, 2, 3, 4, 5));
}

TEST_F(BulkOnlyTest, FaultsCountVendorCommandsFromTheOrderOn) {
    const auto order = [&](const char* text) { m_storage.Order(*ParseUsbFault(text)); };
    const auto read = [&] {
        EXPECT_TRUE(m_storage.Take(CommandWrapper(ReadFlash(4), 4, true)));
        return Give(4);
    };
    order("2:short");
    EXPECT_EQ(read().size(), 4U);
    EXPECT_EQ(Status(), Outcome(0, 0U));
    ASSERT_TRUE(m_storage.Take(CommandWrapper({0, 0, 0, 0, 0, 0}, 0, false)));  // a kernel's TEST UNIT READY
    EXPECT_EQ(Status(), Outcome(0, 0U));
    EXPECT_THAT(read(), ElementsAre(1, 2));
    EXPECT_EQ(Status(), Outcome(0, 2U));

    order("1:residue");
    EXPECT_EQ(read().size(), 4U);
    EXPECT_EQ(Status(), Outcome(0, 4U));
    order("1:phase");
    EXPECT_EQ(read().size(), 4U);
    EXPECT_EQ(Status().first, 2);
    order("1:flip");
    EXPECT_THAT(read(), ElementsAre(0, 2, 3, 4));
    EXPECT_EQ(Status().first, 0);
    order("1:silent");
    EXPECT_THAT(read(), ElementsAre());
    m_storage.Reset();
    order("1:unplug");
    EXPECT_THAT(read(), ElementsAre());
    EXPECT_TRUE(m_frame.IsGone());
}

constexpr std::size_t kUnit = 4096;
const Bytes kEnable = FromHex("CB000000000001000000060000000000");
// A chip that has just got power is protected.
const Bytes kUnlock = FromHex("CB000000000002000000010000000000");
const Bytes kErase = FromHex("CB000000000004000000200000000000");

TEST_F(BulkOnlyTest, ThePlugIsPulledBeforeInAndAfterACommand) {
    const Bytes untouched = Numbered();
    struct Case {
        const char* fault;
        Bytes block;
        std::size_t erased;  // bytes of the flash that are
        bool answered;
    };
    const Bytes inquiry = {0x12, 0, 0, 0, 36, 0};
    for (const auto& [fault, block, erased, answered] :
         {Case{"1:unplug CB00000000000400000020", kErase, 0, false},
          Case{"1:unplug-in CB00000000000400000020", kErase, kUnit / 2, false},
          Case{"1:unplug-after CB00000000000400000020", kErase, kUnit, true},
          Case{"1:unplug-in 12", inquiry, 0, false}, Case{"1:unplug-after 1200", inquiry, 0, true}}) {
        SCOPED_TRACE(fault);
        PluggedFrame frame{FlashImage::InMemory(untouched), {}};
        BulkOnly storage{frame, frame};
        storage.Order(*ParseUsbFault(fault));
        const bool toHost = block == inquiry;
        for (const Bytes& each : {kEnable, kUnlock, kEnable}) {
            ASSERT_TRUE(storage.Take(CommandWrapper(each, 0, false)));
            ASSERT_EQ(storage.Give(13)->bytes[12], 0);
        }
        ASSERT_TRUE(storage.Take(CommandWrapper(block, toHost ? 36 : 0, toHost)));
        if (toHost) {
            EXPECT_EQ(storage.Give(36)->bytes.size(), answered ? 36U : 18U);
        }
        EXPECT_EQ(storage.Give(13).has_value(), answered);
        EXPECT_TRUE(storage.IsPulled() || frame.IsGone());
        EXPECT_FALSE(storage.Give(13));
        const Bytes flash = frame.Frame().FlashBytes();
        const auto changed = std::ranges::mismatch(flash, untouched);
        EXPECT_EQ(std::ranges::mismatch(flash, Bytes(kUnit, 0xFF)).in1 - flash.begin(),
                  static_cast<std::ptrdiff_t>(erased));
        EXPECT_EQ(changed.in1 == flash.end(), erased == 0);
    }
}

}  // namespace
}  // namespace lumato::vframe
