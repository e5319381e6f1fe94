// What the process's environment decides: folders and the time zone.
#include <cstdlib>
#include <ctime>

#include <gtest/gtest.h>

#include "platform/linux/folders.h"
#include "platform/linux/system_clock.h"

namespace lumato::platform {
namespace {

// For the rest of the test's process; null removes the variable.
void SetVariable(const char* name, const char* value) {
    if (value != nullptr)
        ::setenv(name, value, 1);
    else
        ::unsetenv(name);
}

TEST(Folders, GivenHomeComesBeforeTheEnvironment) {
    SetVariable("XDG_DATA_HOME", "/data");
    SetVariable("XDG_STATE_HOME", "/state");
    EXPECT_EQ(ResourcesFolder("some/where"), "some/where");
    EXPECT_EQ(StateFolder("some/where"), "some/where/state");
    EXPECT_EQ(ResourcesFolder({}), "/data/lumato");
    EXPECT_EQ(StateFolder({}), "/state/lumato");
}

TEST(Folders, UnsetEmptyAndRelativeVariablesFallBackToTheUsersHome) {
    SetVariable("HOME", "/home/user");
    for (const char* value : {static_cast<const char*>(nullptr), "", "relative"}) {
        SetVariable("XDG_DATA_HOME", value);
        SetVariable("XDG_STATE_HOME", value);
        EXPECT_EQ(ResourcesFolder({}), "/home/user/.local/share/lumato");
        EXPECT_EQ(StateFolder({}), "/home/user/.local/state/lumato");
    }
}

TEST(Folders, WithoutHomeTheUserDatabaseTellsIt) {
    SetVariable("HOME", nullptr);
    SetVariable("XDG_DATA_HOME", nullptr);
    EXPECT_TRUE(ResourcesFolder({}).is_absolute());
}

// Seconds since 1970 of the civil time, taken as UTC.
std::time_t AsUtc(const LocalTime& time) {
    std::tm parts{};
    parts.tm_year = time.year - 1900;
    parts.tm_mon = time.month - 1;
    parts.tm_mday = time.day;
    parts.tm_hour = time.hour;
    parts.tm_min = time.minute;
    parts.tm_sec = time.second;
    return ::timegm(&parts);
}

TEST(SystemClock, ReadsTheWallClockOfTheZone) {
    const struct {
        const char* zone;
        int secondsEast;
        bool daylightSaving;
    } rows[] = {
        {"UTC0", 0, false},
        {"CET-1", 3600, false},
        {"IST-5:30", 19800, false},
        {"NST3:30", -12600, false},
        {"LINT-14", 50400, false},
        {"AAA-1BBB,J1/0,J365/25", 7200, true},  // daylight-saving time all the year
    };
    for (const auto& row : rows) {
        SetVariable("TZ", row.zone);
        const std::time_t before = std::time(nullptr);
        const LocalTime now = SystemClock().Now();
        const std::time_t after = std::time(nullptr);
        EXPECT_EQ(now.secondsEastOfGmt, row.secondsEast) << row.zone;
        EXPECT_EQ(now.daylightSaving, row.daylightSaving) << row.zone;
        EXPECT_GE(AsUtc(now) - now.secondsEastOfGmt, before) << row.zone;
        EXPECT_LE(AsUtc(now) - now.secondsEastOfGmt, after) << row.zone;
    }
}

}  // namespace
}  // namespace lumato::platform
