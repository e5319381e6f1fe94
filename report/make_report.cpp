#include "report/make_report.h"

#include <cstdlib>

#include <gnu/libc-version.h>
#include <sys/utsname.h>

#include "base/private_text.h"
#include "base/system_library.h"
#include "platform/linux/log_file.h"

namespace lumato::report {
namespace {

constexpr std::size_t kLogBytes = 300'000;
constexpr std::uintmax_t kLongestTrace = 32 << 20;

// "PRETTY_NAME="Debian GNU/Linux 12 (bookworm)"" -> what is between the quotes.
std::string Distribution() {
    const auto bytes = ReadPlainFile("/etc/os-release", 1 << 16);
    const std::string text = bytes ? std::string(bytes->begin(), bytes->end()) : "";
    constexpr std::string_view key = "PRETTY_NAME=\"";
    const std::size_t begin = text.find(key);
    if (begin == std::string::npos)
        return "unknown";
    return text.substr(begin + key.size(), text.find('"', begin + key.size()) - begin - key.size());
}

// Of a library that a program may have been built without.
std::string LibraryVersion(const char* name, const char* function) {
    SystemLibrary library(name);
    const char* (*version)() = library[function];
    return version != nullptr ? version() : "not there";
}

std::string Variable(const char* name) {
    const char* value = std::getenv(name);
    return value != nullptr && *value != '\0' ? value : "unknown";
}

std::string Versions(const std::string& program) {
    utsname system{};
    ::uname(&system);
    return "program: " + program + " " + LUMATO_VERSION +                                 //
           "\nsystem: " + Distribution() +                                                //
           "\nkernel: " + system.sysname + " " + system.release + " " + system.machine +  //
           "\nlibc: " + ::gnu_get_libc_version() +                                        //
           "\nQt: " + LibraryVersion("libQt6Core.so.6", "qVersion") +                     //
           "\nlibvips: " + LibraryVersion("libvips.so.42", "vips_version_string") +       //
           "\ndesktop: " + Variable("XDG_CURRENT_DESKTOP") + ", " + Variable("XDG_SESSION_TYPE") + "\n";
}

std::string LeftTrace(const Path& stateFolder) {
    const auto bytes = ReadPlainFile(stateFolder / kTraceFile, kLongestTrace);
    return bytes ? std::string(bytes->begin(), bytes->end()) : "";
}

}  // namespace

bool HasLeftTrace(const Path& stateFolder) {
    std::error_code ignored;
    return std::filesystem::is_regular_file(stateFolder / kTraceFile, ignored);
}

std::string MakeReport(const ReportParts& parts) {
    HideUser();
    const std::string& trace = parts.trace.empty() ? LeftTrace(parts.stateFolder) : parts.trace;
    std::string report(kReportHead);
    report += WithoutNames(Versions(parts.program));
    report += "\n== frame\n" + WithoutNames(parts.frame) + "\n";
    report += std::string(kTraceHead) + trace;
    // Each line was without names when it was written, but perhaps by another user.
    return report += std::string(kLogHead) + WithoutNames(platform::ReadLog(parts.stateFolder, kLogBytes));
}

}  // namespace lumato::report
