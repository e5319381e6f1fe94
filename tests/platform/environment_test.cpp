// What the process's environment decides: folders and the time zone.
#include <cstdlib>
#include <ctime>
#include <fstream>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include "platform/linux/folders.h"
#include "platform/linux/log_file.h"
#include "platform/linux/system_clock.h"
#include "tests/support/temporary_folder.h"

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

std::vector<std::string> LinesOfLogs(const Path& folder) {
    std::vector<std::string> lines;
    for (const auto& entry : std::filesystem::directory_iterator(folder)) {
        EXPECT_LE(entry.file_size(), kLogFileSize) << entry.path();
        EXPECT_EQ(entry.status().permissions(), std::filesystem::perms(0600)) << entry.path();
        std::ifstream file(entry.path());
        for (std::string line; std::getline(file, line);)
            lines.push_back(line);
    }
    return lines;
}

// Longer than the files that are kept, so that they are moved on again and again, by whoever comes to it.
TEST(LogFile, LinesOfSeveralProcessesStayWholeInFiveFiles) {
    const test::TemporaryFolder folder;
    const Path state = folder / "deep/state";
    const auto write = [&](char letter) {
        LogFile log(state, LogFile::Folder::Make, "test");
        log.Begin();
        for (int batch = 0; batch < 300; ++batch) {
            for (int i = 0; i < 50; ++i)
                log.Write(std::string(100, letter));
            log.Flush(std::chrono::seconds(10));
        }
    };
    std::vector<pid_t> children;
    for (const char letter : {'a', 'b', 'c'}) {
        children.push_back(::fork());
        if (children.back() == 0) {
            write(letter);
            ::_exit(0);
        }
    }
    for (const pid_t child : children)
        ::waitpid(child, nullptr, 0);
    const std::vector<std::string> lines = LinesOfLogs(state);
    EXPECT_GT(lines.size(), 25'000U) << "four full files at least";
    for (const std::string& line : lines) {
        const std::string text = line.substr(line.find("] ") + 2);
        ASSERT_TRUE(text == std::string(100, text.front()) && line.starts_with("20")) << line;
    }
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(state), {}), kLogFiles);
    EXPECT_EQ(ReadLog(state, 1000).front(), '2') << "whole lines";
}

TEST(LogFile, WhatCannotBeWrittenCostsNothingButTheLog) {
    const test::TemporaryFolder folder;
    LogFile awaiting(folder / "state", LogFile::Folder::Await, "test");
    awaiting.Write("early");
    awaiting.Begin();
    awaiting.Flush(std::chrono::seconds(10));
    EXPECT_FALSE(std::filesystem::exists(folder / "state"));
    std::filesystem::create_directory(folder / "state");
    awaiting.Keep("trace", [] { return std::string("kept"); });
    awaiting.Flush(std::chrono::seconds(10));
    EXPECT_THAT(ReadLog(folder / "state", 1000), testing::EndsWith("early\n"));
    EXPECT_EQ(std::filesystem::file_size(folder / "state/trace"), 4U);

    // A pipe, whose writer would wait for a reader, and a link out of the folder.
    std::filesystem::remove(folder / "state/log");
    ASSERT_EQ(::mkfifo((folder / "state/log").c_str(), 0600), 0);
    std::filesystem::remove(folder / "state/trace");
    std::filesystem::create_symlink(folder / "other", folder / "state/trace.new");
    awaiting.Write("to nobody");
    awaiting.Keep("trace", [] { return std::string("kept"); });
    awaiting.Flush(std::chrono::seconds(10));
    EXPECT_FALSE(std::filesystem::exists(folder / "other"));
    for (int i = 0; i < 10'000; ++i)
        awaiting.Write("more than is held");
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
