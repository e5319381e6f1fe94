#include "platform/linux/sg_outcome.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <utility>

namespace lumato::platform {
namespace {

// Host statuses of the kernel (include/scsi/scsi_status.h there), by number. Programs get them as bare
// numbers.
constexpr unsigned kHostOk = 0;
constexpr std::array kHostNames = {"OK",
                                   "no connection",
                                   "bus busy",
                                   "time-out",
                                   "bad target",
                                   "aborted",
                                   "parity error",
                                   "error",
                                   "bus reset",
                                   "bad interrupt",
                                   "passed",
                                   "soft error",
                                   "retry now",
                                   "requeued",
                                   "transport disrupted",
                                   "transport failed",
                                   "target failure",
                                   "nexus failure",
                                   "no space on the device",
                                   "medium error",
                                   "transport marginal"};

// The driver status holds a code in its low half. Sense data that came along are no fault by themselves.
constexpr unsigned kDriverCode = 0x0F;
constexpr unsigned kDriverSense = 0x08;
constexpr unsigned kDriverTimeout = 0x06;

constexpr std::array kSenseKeys = {"NO SENSE",       "RECOVERED ERROR", "NOT READY",      "MEDIUM ERROR",
                                   "HARDWARE ERROR", "ILLEGAL REQUEST", "UNIT ATTENTION", "DATA PROTECT",
                                   "BLANK CHECK",    "vendor's own",    "COPY ABORTED",   "ABORTED COMMAND",
                                   "reserved",       "VOLUME OVERFLOW", "MISCOMPARE",     "COMPLETED"};

SgReport NotExecuted(std::string why, Presence presence) {
    return {
        .outcome = {.status = kStatusNone, .executed = false, .transferred = 0, .diagnostic = std::move(why)},
        .presence = presence};
}

SgReport ReportOfErrno(int error) {
    switch (error) {
        case ENODEV:
        case ESHUTDOWN:
            return NotExecuted("the device is gone", Presence::Gone);
        case ENXIO:
            return NotExecuted("the kernel has given the device up", Presence::Gone);
        case EPERM:
        case EACCES:
            return NotExecuted("the command is not permitted on this handle", Presence::Present);
        default:
            return NotExecuted(SystemMessage(error), Presence::Present);
    }
}

std::string HostText(unsigned host) {
    return "host status " + std::to_string(host) +
           (host < kHostNames.size() ? std::string(" (") + kHostNames[host] + ")" : "");
}

std::string DriverText(unsigned driver) {
    return "driver status " + std::to_string(driver) + (driver == kDriverTimeout ? " (time-out)" : "");
}

// The kernel counts what did not move; a device may claim any number.
std::size_t Transferred(const sg_io_hdr_t& header) {
    if (header.dxfer_direction == SG_DXFER_NONE)
        return 0;
    const std::int64_t length = header.dxfer_len;
    return static_cast<std::size_t>(std::clamp<std::int64_t>(length - header.resid, 0, length));
}

std::string StatusText(const sg_io_hdr_t& header) {
    if (header.status == kStatusGood)
        return {};
    const ByteSpan sense(header.sbp, header.sbp == nullptr ? 0 : header.sb_len_wr);
    const std::string text = SenseText(sense);
    if (!text.empty())
        return text;
    char status[16];
    std::snprintf(status, sizeof status, "status %02X", unsigned{header.status});
    return status;
}

}  // namespace

std::string SenseText(ByteSpan sense) {
    if (sense.size() < 4)
        return {};
    const unsigned format = sense[0] & 0x7Fu;
    unsigned key = 0, code = 0, qualifier = 0;
    if (format == 0x70 || format == 0x71) {
        key = sense[2] & 0x0Fu;
        code = sense.size() > 12 ? sense[12] : 0;
        qualifier = sense.size() > 13 ? sense[13] : 0;
    } else if (format == 0x72 || format == 0x73) {
        key = sense[1] & 0x0Fu;
        code = sense[2];
        qualifier = sense[3];
    } else {
        return {};
    }
    char text[48];
    std::snprintf(text, sizeof text, "sense %X/%02X/%02X (%s)", key, code, qualifier, kSenseKeys[key]);
    return text;
}

SgReport ReportOf(int error, const sg_io_hdr_t& header) {
    if (error != 0)
        return ReportOfErrno(error);
    if (header.host_status != kHostOk)
        return NotExecuted(HostText(header.host_status), Presence::Doubtful);
    const unsigned driver = header.driver_status & kDriverCode;
    const bool senseCame = driver == kDriverSense && header.status != kStatusGood;
    if (header.driver_status != 0 && !senseCame)
        return NotExecuted(DriverText(header.driver_status), Presence::Present);
    return {.outcome = {.status = header.status,
                        .executed = true,
                        .transferred = Transferred(header),
                        .diagnostic = StatusText(header)},
            .presence = Presence::Present};
}

}  // namespace lumato::platform
