// Preloaded into a program under test (LD_PRELOAD): makes its n-th file operation go wrong.
//
//   FAILING_FILES_BELOW    path prefixes, separated by ':'; only operations on files below them count
//   FAILING_FILES_AT       n, from 1; without it nothing fails
//   FAILING_FILES_HOW      ENOSPC, ENXIO, EACCES, EIO, or KILL: the program ends there, without a word
//   FAILING_FILES_REPORT   a file that gets a line for the operation that went wrong: its number, class
//                          (open, write, rename, unlink, sync, mkdir, close) and path
//
// A failed operation has done nothing, but a close, which always closes: its error is that of earlier writes.
// What a failed sync could not write is gone, as after a power failure: the next sync would find nothing to
// do. Every call goes on to the kernel itself, so that nothing here can call itself.
#include <atomic>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace {

const char* Setting(const char* name) {
    const char* value = std::getenv(name);
    return value != nullptr ? value : "";
}

// The log's thread comes when it comes, and nothing depends on it.
bool IsLog(const char* path) {
    const char* state = std::strstr(path, "/state/");
    return state != nullptr &&
           (std::strstr(state, "log") != nullptr || std::strstr(state, "trace") != nullptr);
}

bool Below(const char* path) {
    if (IsLog(path))
        return false;
    const char* prefix = Setting("FAILING_FILES_BELOW");
    while (*prefix != '\0') {
        const std::size_t length = std::strcspn(prefix, ":");
        if (length > 0 && std::strncmp(path, prefix, length) == 0)
            return true;
        prefix += length;
        prefix += *prefix == ':' ? 1 : 0;
    }
    return false;
}

void Report(long number, const char* kind, const char* path) {
    const char* report = Setting("FAILING_FILES_REPORT");
    if (*report == '\0')
        return;
    char line[4400];
    const int length = std::snprintf(line, sizeof line, "%ld %s %s\n", number, kind, path);
    const int fd = static_cast<int>(
        ::syscall(SYS_openat, AT_FDCWD, report, O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0666));
    if (fd >= 0 && length > 0)
        ::syscall(SYS_write, fd, line, static_cast<std::size_t>(length));
    if (fd >= 0)
        ::syscall(SYS_close, fd);
}

int ErrorNumber(const char* how) {
    if (std::strcmp(how, "ENOSPC") == 0)
        return ENOSPC;
    if (std::strcmp(how, "ENXIO") == 0)
        return ENXIO;
    return std::strcmp(how, "EACCES") == 0 ? EACCES : EIO;
}

// True when this operation is the one to fail; errno then says how.
bool Fails(const char* kind, const char* path) {
    static std::atomic<long> count{0};
    if (path == nullptr || !Below(path))
        return false;
    const long number = ++count;
    if (number != std::atol(Setting("FAILING_FILES_AT")))
        return false;
    Report(number, kind, path);
    const char* how = Setting("FAILING_FILES_HOW");
    if (std::strcmp(how, "KILL") == 0)
        ::syscall(SYS_exit_group, 99);
    errno = ErrorNumber(how);
    return true;
}

bool Fails(const char* kind, int fd) {
    char link[40];
    char path[4096];
    std::snprintf(link, sizeof link, "/proc/self/fd/%d", fd);
    const int kept = errno;
    const ssize_t length = ::readlink(link, path, sizeof path - 1);
    errno = kept;
    if (length <= 0)
        return false;
    path[length] = '\0';
    return Fails(kind, path);
}

int Open(int folder, const char* path, int flags, mode_t mode) {
    if (Fails("open", path))
        return -1;
    return static_cast<int>(::syscall(SYS_openat, folder, path, flags, mode));
}

int Sync(long call, int fd) {
    if (!Fails("sync", fd))
        return static_cast<int>(::syscall(call, fd));
    const int errorNumber = errno;
    char link[40];
    std::snprintf(link, sizeof link, "/proc/self/fd/%d", fd);
    ::syscall(SYS_truncate, link, 0L);
    errno = errorNumber;
    return -1;
}

}  // namespace

// A file's size has 64 bits here, so that the functions with 64 in their names are the same ones.
#define SAME_AS(name) __attribute__((alias(name)))

extern "C" {

// FAKED_PROCESSORS: as many as a program is to think that there are.
int get_nprocs() {
    const int faked = std::atoi(Setting("FAKED_PROCESSORS"));
    return faked > 0 ? faked : static_cast<int>(::sysconf(_SC_NPROCESSORS_ONLN));
}

int open(const char* path, int flags, ...) {
    va_list rest;
    va_start(rest, flags);
    const mode_t mode = (flags & (O_CREAT | O_TMPFILE)) != 0 ? va_arg(rest, mode_t) : mode_t{0};
    va_end(rest);
    return Open(AT_FDCWD, path, flags, mode);
}
int openat(int folder, const char* path, int flags, ...) {
    va_list rest;
    va_start(rest, flags);
    const mode_t mode = (flags & (O_CREAT | O_TMPFILE)) != 0 ? va_arg(rest, mode_t) : mode_t{0};
    va_end(rest);
    return Open(folder, path, flags, mode);
}
int creat(const char* path, mode_t mode) {
    return Open(AT_FDCWD, path, O_CREAT | O_WRONLY | O_TRUNC, mode);
}
int open64(const char* path, int flags, ...) SAME_AS("open");
int openat64(int folder, const char* path, int flags, ...) SAME_AS("openat");
int creat64(const char* path, mode_t mode) SAME_AS("creat");

ssize_t write(int fd, const void* data, size_t size) {
    return Fails("write", fd) ? -1 : ::syscall(SYS_write, fd, data, size);
}
ssize_t pwrite(int fd, const void* data, size_t size, off_t at) {
    return Fails("write", fd) ? -1 : ::syscall(SYS_pwrite64, fd, data, size, at);
}
ssize_t pwrite64(int fd, const void* data, size_t size, off64_t at) SAME_AS("pwrite");

int rename(const char* from, const char* to) noexcept {
    return Fails("rename", to) ? -1 : static_cast<int>(::syscall(SYS_rename, from, to));
}
int renameat(int fromFolder, const char* from, int toFolder, const char* to) noexcept {
    return Fails("rename", to) ? -1
                               : static_cast<int>(::syscall(SYS_renameat, fromFolder, from, toFolder, to));
}
int unlink(const char* path) noexcept {
    return Fails("unlink", path) ? -1 : static_cast<int>(::syscall(SYS_unlink, path));
}
int unlinkat(int folder, const char* path, int flags) noexcept {
    return Fails("unlink", path) ? -1 : static_cast<int>(::syscall(SYS_unlinkat, folder, path, flags));
}
int remove(const char* path) noexcept {
    if (Fails("unlink", path))
        return -1;
    const long result = ::syscall(SYS_unlink, path);
    return static_cast<int>(result != 0 && errno == EISDIR ? ::syscall(SYS_rmdir, path) : result);
}

int fsync(int fd) {
    return Sync(SYS_fsync, fd);
}
int fdatasync(int fd) {
    return Sync(SYS_fdatasync, fd);
}

int mkdir(const char* path, mode_t mode) noexcept {
    return Fails("mkdir", path) ? -1 : static_cast<int>(::syscall(SYS_mkdir, path, mode));
}
int mkdirat(int folder, const char* path, mode_t mode) noexcept {
    return Fails("mkdir", path) ? -1 : static_cast<int>(::syscall(SYS_mkdirat, folder, path, mode));
}

int close(int fd) {
    const bool fails = Fails("close", fd);
    const int errorNumber = errno;
    const long result = ::syscall(SYS_close, fd);
    if (fails)
        errno = errorNumber;
    return fails ? -1 : static_cast<int>(result);
}

}  // extern "C"
