#include "platform/linux/sg_outcome.h"

#include <array>
#include <cerrno>

#include <gtest/gtest.h>

namespace lumato::platform {
namespace {

// What the driver reports of a command with a data phase of 512 bytes to us.
struct Row {
    const char* what;
    int error = 0;
    unsigned char status = 0;
    unsigned short host = 0;
    unsigned short driver = 0;
    int resid = 0;

    bool executed = false;
    std::uint8_t outcome = kStatusNone;
    std::size_t transferred = 0;
    Presence presence = Presence::Present;
};

const Row kRows[] = {
    {.what = "good", .executed = true, .outcome = 0, .transferred = 512},
    {.what = "short", .resid = 500, .executed = true, .outcome = 0, .transferred = 12},
    {.what = "claims too little", .resid = 9000, .executed = true, .outcome = 0, .transferred = 0},
    {.what = "claims too much", .resid = -1, .executed = true, .outcome = 0, .transferred = 512},
    {.what = "refused", .status = 2, .driver = 8, .resid = 512, .executed = true, .outcome = 2},
    {.what = "refused, old driver", .status = 2, .resid = 512, .executed = true, .outcome = 2},
    {.what = "busy", .status = 8, .resid = 512, .executed = true, .outcome = 8},
    {.what = "no connection", .host = 1, .presence = Presence::Doubtful},
    {.what = "time-out", .host = 3, .presence = Presence::Doubtful},
    {.what = "transport error", .host = 7, .presence = Presence::Doubtful},
    {.what = "a status that we do not know", .host = 77, .presence = Presence::Doubtful},
    {.what = "host counts before device",
     .status = 2,
     .host = 7,
     .driver = 8,
     .presence = Presence::Doubtful},
    {.what = "driver time-out", .driver = 6},
    {.what = "good with a driver's objection", .driver = 8},
    {.what = "unplugged", .error = ENODEV, .presence = Presence::Gone},
    {.what = "given up by the kernel", .error = ENXIO, .presence = Presence::Gone},
    {.what = "not permitted", .error = EPERM},
    {.what = "no memory", .error = ENOMEM},
};

TEST(SgOutcome, OnlyACommandWithoutAnyFaultIsGood) {
    for (const Row& row : kRows) {
        SCOPED_TRACE(row.what);
        sg_io_hdr_t header{};
        header.dxfer_direction = SG_DXFER_FROM_DEV;
        header.dxfer_len = 512;
        header.status = row.status;
        header.host_status = row.host;
        header.driver_status = row.driver;
        header.resid = row.resid;
        const SgReport report = ReportOf(row.error, header);
        EXPECT_EQ(report.outcome.executed, row.executed);
        EXPECT_EQ(report.outcome.status, row.outcome);
        EXPECT_EQ(report.outcome.transferred, row.transferred);
        EXPECT_EQ(report.presence, row.presence);
        EXPECT_EQ(report.outcome.diagnostic.empty(), row.outcome == kStatusGood);
    }
}

TEST(SgOutcome, SenseDataOfBothFormatsAreSpelledOut) {
    constexpr std::array<std::uint8_t, 18> fixed = {0x70, 0, 5, 0, 0, 0, 0, 10, 0, 0, 0, 0, 0x20};
    EXPECT_EQ(SenseText(fixed), "sense 5/20/00 (ILLEGAL REQUEST)");
    constexpr std::array<std::uint8_t, 8> descriptor = {0x72, 3, 0x0C, 1};
    EXPECT_EQ(SenseText(descriptor), "sense 3/0C/01 (MEDIUM ERROR)");
    EXPECT_EQ(SenseText(ByteSpan(fixed).first(8)), "sense 5/00/00 (ILLEGAL REQUEST)");
    EXPECT_EQ(SenseText(ByteSpan(fixed).first(3)), "");
    EXPECT_EQ(SenseText(std::array<std::uint8_t, 4>{}), "");

    sg_io_hdr_t header{};
    std::array<std::uint8_t, 18> sense = fixed;
    header.status = kStatusCheckCondition;
    header.sbp = sense.data();
    header.sb_len_wr = 18;
    EXPECT_EQ(ReportOf(0, header).outcome.diagnostic, "sense 5/20/00 (ILLEGAL REQUEST)");
    header.host_status = 20;
    EXPECT_EQ(ReportOf(0, header).outcome.diagnostic, "host status 20 (transport marginal)");
}

}  // namespace
}  // namespace lumato::platform
