#include "platform/linux/sg_device.h"

#include <array>
#include <cerrno>
#include <chrono>
#include <thread>
#include <utility>

#include <fcntl.h>
#include <scsi/sg.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include "base/diagnostics.h"
#include "platform/linux/file_holders.h"
#include "platform/linux/sg_outcome.h"

namespace lumato::platform {
namespace {

using std::chrono::milliseconds;

// The command that an unplugged device fails may return some milliseconds before the kernel takes the device
// away.
constexpr milliseconds kRemovalTime{100};
constexpr milliseconds kGlance{2};

int SgDirection(Direction direction) {
    switch (direction) {
        case Direction::Out:
            return SG_DXFER_TO_DEV;
        case Direction::In:
            return SG_DXFER_FROM_DEV;
        default:
            return SG_DXFER_NONE;
    }
}

tl::unexpected<Error> OpenError(int error, const Path& node) {
    const std::string name = node.string();
    switch (error) {
        case ENOENT:
        case ENODEV:
        case ENXIO:
            return Fail(ErrorKind::Gone, About(name, kUnplugged));
        case EBUSY:
            return Fail(ErrorKind::Busy, About(name, Phrase(kCloseAndPlugIn, InUseBy(node))));
        case EACCES:
        case EPERM:
            return Fail(ErrorKind::Refused,
                        About(name, Phrase("NO_PERMISSION", "no permission to use the frame")));
        default:
            return Fail(ErrorKind::Unreadable, About(name, SystemMessage(error)));
    }
}

}  // namespace

Result<std::unique_ptr<ScsiDevice>> SgDevice::Open(const Path& node, SgAccess access) {
    // Without O_NONBLOCK a node that somebody holds makes open wait until he lets go.
    const int mode = access == SgAccess::Exclusive ? O_RDWR | O_EXCL : O_RDONLY;
    const int fd = ::open(node.c_str(), mode | O_NONBLOCK | O_CLOEXEC);
    if (fd < 0)
        return OpenError(errno, node);
    std::unique_ptr<ScsiDevice> device(new SgDevice(fd, node));
    int version = 0;
    if (::ioctl(fd, SG_GET_VERSION_NUM, &version) != 0)
        return Fail(ErrorKind::Unreadable, About(node.string(), "not a SCSI generic device"));
    return device;
}

SgDevice::~SgDevice() {
    ::close(m_fd);
}

ScsiOutcome SgDevice::Execute(const ScsiRequest& request) {
    if (m_gone)
        return {};
    std::array<std::uint8_t, 64> sense{};
    std::array<std::uint8_t, 16> block{};
    std::copy_n(request.block.begin(), std::min(request.block.size(), block.size()), block.begin());

    sg_io_hdr_t header{};
    header.interface_id = 'S';
    header.dxfer_direction = SgDirection(request.direction);
    header.cmd_len = static_cast<unsigned char>(std::min(request.block.size(), block.size()));
    header.cmdp = block.data();
    header.mx_sb_len = sense.size();
    header.sbp = sense.data();
    if (request.direction != Direction::None) {
        header.dxfer_len = static_cast<unsigned>(request.data.size());
        header.dxferp = request.data.data();
    }
    header.timeout = static_cast<unsigned>(request.timeout.count());

    const int error = ::ioctl(m_fd, SG_IO, &header) == 0 ? 0 : errno;
    SgReport report = ReportOf(error, header);
    if (report.presence == Presence::Gone || (report.presence == Presence::Doubtful && HasVanished()))
        m_gone = true;
    if (!report.outcome.diagnostic.empty())
        Diagnose(m_node.string() + ": " + report.outcome.diagnostic);
    return std::move(report.outcome);
}

// Asks the driver, not the device.
bool SgDevice::HasVanished() const {
    const auto end = std::chrono::steady_clock::now() + kRemovalTime;
    for (;;) {
        sg_scsi_id identity{};
        if (::ioctl(m_fd, SG_GET_SCSI_ID, &identity) != 0)
            return errno == ENODEV || errno == ENXIO;
        if (std::chrono::steady_clock::now() >= end)
            return false;
        std::this_thread::sleep_for(kGlance);
    }
}

}  // namespace lumato::platform
