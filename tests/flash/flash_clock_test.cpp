#include <gtest/gtest.h>

#include "flash/process_flash.h"
#include "tests/support/flash_frame.h"

namespace lumato::flash {
namespace {

class FakeClock : public platform::Clock {
  public:
    platform::LocalTime Now() const override {
        ++m_readings;
        return m_time;
    }
    platform::LocalTime m_time;
    mutable int m_readings = 0;
};

constexpr int kHour = 3600;
constexpr int kHalfHour = 1800;

TEST(FlashClock, SendsLocalTimeAndZone) {
    const struct {
        platform::LocalTime time;
        const char* block;
    } rows[] = {
        {{2009, 3, 3, 14, 5, 9, false, kHour}, "CA 00 00 00 00 09 14 03 03 0E 05 09 00 00 00 0D"},
        {{2026, 7, 31, 23, 59, 59, true, 2 * kHour}, "CA 00 00 00 00 1A 14 07 1F 17 3B 3B 00 00 01 0E"},
        {{1999, 12, 1, 0, 0, 0, false, 8 * kHour}, "CA 00 00 00 00 63 13 0C 01 00 00 00 00 00 00 14"},
        {{2000, 2, 29, 1, 2, 3, false, -5 * kHour}, "CA 00 00 00 00 00 14 02 1D 01 02 03 00 00 00 07"},
        {{2026, 1, 1, 0, 0, 0, false, 5 * kHour + kHalfHour},
         "CA 00 00 00 00 1A 14 01 01 00 00 00 00 00 00 11"},
        {{2026, 1, 1, 0, 0, 0, false, -3 * kHour - kHalfHour},
         "CA 00 00 00 00 1A 14 01 01 00 00 00 00 00 00 09"},
        {{2026, 1, 1, 0, 0, 0, false, -kHalfHour}, "CA 00 00 00 00 1A 14 01 01 00 00 00 00 00 00 0C"},
        {{2016, 12, 31, 23, 59, 60, false, 0}, "CA 00 00 00 00 10 14 0C 1F 17 3B 3B 00 00 00 0C"},
    };
    test::FlashFrame frame;
    FakeClock clock;
    platform::CurrentServices().clock = &clock;
    CProcessFlash flash(&frame.m_link);
    for (const auto& row : rows) {
        clock.m_time = row.time;
        frame.ForgetSent();
        EXPECT_TRUE(flash.SynchronizeDPFtime());
        ASSERT_EQ(frame.SentCount(), 1U);
        EXPECT_EQ(frame.Sent(0), row.block);
        EXPECT_EQ(frame.m_script.sent[0].direction, platform::Direction::None);
    }
    EXPECT_EQ(clock.m_readings, static_cast<int>(std::size(rows)));

    frame.FailAt(test::Kind::Clock, 1, test::Fault::Refuse);
    EXPECT_FALSE(flash.SynchronizeDPFtime());
}

}  // namespace
}  // namespace lumato::flash
