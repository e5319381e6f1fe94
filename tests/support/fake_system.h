// The SCSI devices that a kernel shows, without a kernel.
#pragma once

#include <string>

#include "platform/linux/usb_bus.h"
#include "tests/support/temporary_folder.h"

namespace lumato::test {

// A sysfs and a /dev of a test's own.
class FakeSystem {
  public:
    // A SCSI device on a port of a bus ("usb" or "pci"), with the generic node of that name unless it is
    // empty.
    Path Add(const std::string& bus, const std::string& address, const std::string& vendor,
             const std::string& type, const std::string& generic) {
        const Path port = m_folder / ("sys/devices/" + bus + address);
        const Path device = port / "host1/target1" / address;
        std::filesystem::create_directories(device);
        Link(m_folder / "sys/bus" / bus, port / "subsystem");
        Link(m_folder / "sys/bus/scsi", device / "subsystem");
        Put(device / "type", type + "\n");
        Put(device / "vendor", vendor + "  \n");
        Put(device / "model", "Photo Frame     \n");
        if (!generic.empty()) {
            std::filesystem::create_directories(device / "scsi_generic" / generic);
            std::filesystem::create_directories(m_folder / "dev");
            Put(m_folder / "dev" / generic, "no device");
        }
        std::filesystem::create_directories(m_folder / "sys/bus/scsi/devices");
        Link(device, m_folder / "sys/bus/scsi/devices" / address);
        return std::filesystem::canonical(device);
    }
    void AddInterface(const std::string& name, const std::string& interfaceClass) {
        std::filesystem::create_directories(m_folder / "sys/bus/usb/devices" / name);
        Put(m_folder / "sys/bus/usb/devices" / name / "bInterfaceClass", interfaceClass + "\n");
    }
    void Remove(const std::string& address) {
        std::filesystem::remove(m_folder / "sys/bus/scsi/devices" / address);
    }
    platform::UsbBusOptions Options() const {
        return {.family = "quorvane",
                .sysRoot = m_folder / "sys",
                .deviceRoot = m_folder / "dev",
                .watch = false,
                .patience = std::chrono::milliseconds(0)};
    }
    Path Sys() const { return m_folder / "sys"; }

  private:
    static void Put(const Path& file, const std::string& text) { PutBytes(file, {text.begin(), text.end()}); }
    static void Link(const Path& to, const Path& link) { std::filesystem::create_symlink(to, link); }

    TemporaryFolder m_folder;
};

}  // namespace lumato::test
