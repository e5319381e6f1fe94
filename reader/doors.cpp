#include "reader/doors.h"

#include <cerrno>
#include <csignal>
#include <cstddef>
#include <initializer_list>

#include <fcntl.h>
#include <grp.h>
#include <linux/capability.h>
#include <sched.h>
#include <seccomp.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <unistd.h>

#include "reader/messages.h"

namespace lumato::reader {
namespace {

// Root becomes nobody, unless the program could not bound and end another user's process then. Capabilities
// go in any case.
void DropPrivileges() {
    constexpr unsigned kNobody = 65534;
    constexpr std::uint32_t kNeeded = 1U << CAP_SYS_RESOURCE | 1U << CAP_KILL;
    __user_cap_header_struct header{_LINUX_CAPABILITY_VERSION_3, 0};
    __user_cap_data_struct capabilities[2]{};
    ::syscall(SYS_capget, &header, capabilities);
    if (::geteuid() == 0 && (capabilities[0].effective & kNeeded) == kNeeded &&
        ::setgroups(0, nullptr) == 0 && ::setresgid(kNobody, kNobody, kNobody) == 0)
        static_cast<void>(::setresuid(kNobody, kNobody, kNobody) == 0);
    capabilities[0] = capabilities[1] = {};
    ::syscall(SYS_capset, &header, capabilities);
}

void Limit(__rlimit_resource what, rlim_t most) {
    const struct rlimit limit { most, most };
    ::setrlimit(what, &limit);
}

// Beside what the program sets for each picture.
void LimitUse() {
    Limit(RLIMIT_CORE, 0);
    Limit(RLIMIT_FSIZE, 1 << 12);  // what was said on standard error before
    Limit(RLIMIT_NOFILE, 32);
    Limit(RLIMIT_MEMLOCK, 0);
    Limit(RLIMIT_MSGQUEUE, 0);
}

// Landlock's interface, of which each kernel knows a part: (linux/landlock.h) of all versions so far.
struct Rules {
    std::uint64_t files, network, scopes;
};
constexpr std::uint64_t kFileRights[] = {0x1FFF, 0x3FFF, 0x7FFF, 0x7FFF, 0xFFFF};  // by version, from 1
constexpr std::uint64_t kNetworkRights = 3;  // from version 4: bind, connect
constexpr std::uint64_t kScopes = 3;         // from version 6: abstract sockets, signals

// No file may be opened, made, removed or run, whatever its name.
bool ForbidFiles() {
    constexpr unsigned kVersionAsked = 1;
    const long version = ::syscall(SYS_landlock_create_ruleset, nullptr, 0, kVersionAsked);
    if (version < 1)
        return false;
    const Rules rules{kFileRights[(version > 5 ? 5 : version) - 1], version >= 4 ? kNetworkRights : 0,
                      version >= 6 ? kScopes : 0};
    const std::size_t size = version >= 6   ? sizeof rules
                             : version >= 4 ? offsetof(Rules, scopes)
                                            : offsetof(Rules, network);
    const auto set = static_cast<int>(::syscall(SYS_landlock_create_ruleset, &rules, size, 0));
    if (set < 0)
        return false;
    const bool done = ::syscall(SYS_landlock_restrict_self, set, 0) == 0;
    ::close(set);
    return done;
}

// What decoders do without harm, whatever they pass.
constexpr int kAllowed[] = {
    SCMP_SYS(read),
    SCMP_SYS(readv),
    SCMP_SYS(pread64),
    SCMP_SYS(write),
    SCMP_SYS(writev),
    SCMP_SYS(lseek),
    SCMP_SYS(_llseek),
    SCMP_SYS(close),
    SCMP_SYS(dup),
    SCMP_SYS(fstat),
    SCMP_SYS(fstat64),
    SCMP_SYS(poll),
    SCMP_SYS(ppoll),
    SCMP_SYS(munmap),
    SCMP_SYS(mremap),
    SCMP_SYS(madvise),
    SCMP_SYS(brk),
    SCMP_SYS(futex),
    SCMP_SYS(futex_time64),
    SCMP_SYS(sched_yield),
    SCMP_SYS(sched_getaffinity),
    SCMP_SYS(getcpu),
    SCMP_SYS(getpid),
    SCMP_SYS(gettid),
    SCMP_SYS(clock_gettime),
    SCMP_SYS(clock_getres),
    SCMP_SYS(clock_nanosleep),
    SCMP_SYS(nanosleep),
    SCMP_SYS(gettimeofday),
    SCMP_SYS(time),
    SCMP_SYS(rt_sigaction),
    SCMP_SYS(rt_sigprocmask),
    SCMP_SYS(rt_sigreturn),
    SCMP_SYS(sigaltstack),
    SCMP_SYS(exit),
    SCMP_SYS(exit_group),
    SCMP_SYS(set_robust_list),
    SCMP_SYS(rseq),
    SCMP_SYS(getrandom),
    SCMP_SYS(membarrier),
    SCMP_SYS(restart_syscall),
    SCMP_SYS(sysinfo),
    SCMP_SYS(uname),
    SCMP_SYS(getrusage),
};
// What no decoder does: one that tries has been taken over, and ends. Whatever else is not allowed fails.
constexpr int kEnding[] = {
    SCMP_SYS(execve),
    SCMP_SYS(execveat),
    SCMP_SYS(fork),
    SCMP_SYS(vfork),
    SCMP_SYS(ptrace),
    SCMP_SYS(socket),
    SCMP_SYS(socketpair),
    SCMP_SYS(connect),
    SCMP_SYS(bind),
    SCMP_SYS(listen),
    SCMP_SYS(accept4),
    SCMP_SYS(kill),
    SCMP_SYS(tkill),
    SCMP_SYS(pidfd_open),
    SCMP_SYS(pidfd_send_signal),
    SCMP_SYS(process_vm_readv),
    SCMP_SYS(process_vm_writev),
    SCMP_SYS(io_uring_setup),
    SCMP_SYS(bpf),
    SCMP_SYS(perf_event_open),
    SCMP_SYS(userfaultfd),
    SCMP_SYS(mount),
    SCMP_SYS(unshare),
    SCMP_SYS(setns),
};

class Filter {
  public:
    Filter() : m_filter(::seccomp_init(SCMP_ACT_ERRNO(EPERM))), m_sound(m_filter != nullptr) {}
    ~Filter() {
        if (m_filter != nullptr)
            ::seccomp_release(m_filter);
    }
    Filter(const Filter&) = delete;
    Filter& operator=(const Filter&) = delete;

    // A call that this processor's kernel does not have needs no rule.
    void Add(std::uint32_t action, int call, std::initializer_list<scmp_arg_cmp> arguments = {}) {
        if (!m_sound || call < 0)
            return;
        const int error = ::seccomp_rule_add_array(
            m_filter, action, call, static_cast<unsigned>(arguments.size()), arguments.begin());
        m_sound = error == 0 || error == -EDOM;
    }
    bool Load() {
        // Calls by another processor's numbers end it as a whole: a thread alone would leave it hanging.
        return m_sound && ::seccomp_attr_set(m_filter, SCMP_FLTATR_ACT_BADARCH, SCMP_ACT_KILL_PROCESS) == 0 &&
               ::seccomp_attr_set(m_filter, SCMP_FLTATR_CTL_TSYNC, 1) == 0 && ::seccomp_load(m_filter) == 0;
    }

  private:
    scmp_filter_ctx m_filter;
    bool m_sound;
};

scmp_arg_cmp Is(unsigned argument, std::uint64_t value) {
    return {argument, SCMP_CMP_EQ, value, 0};
}
scmp_arg_cmp HasBits(unsigned argument, std::uint64_t mask, std::uint64_t bits) {
    return {argument, SCMP_CMP_MASKED_EQ, mask, bits};
}

// Threads may be made, processes not. The newer call hands its flags over in memory, where no filter sees
// them; the C library takes the older one then.
void AddThreads(Filter& filter) {
    filter.Add(SCMP_ACT_ALLOW, SCMP_SYS(clone), {HasBits(0, CLONE_THREAD, CLONE_THREAD)});
    filter.Add(SCMP_ACT_KILL_PROCESS, SCMP_SYS(clone), {HasBits(0, CLONE_THREAD, 0)});
    filter.Add(SCMP_ACT_ERRNO(ENOSYS), SCMP_SYS(clone3));
    filter.Add(SCMP_ACT_ALLOW, SCMP_SYS(prctl), {Is(0, PR_SET_NAME)});
    // abort() sends a signal to itself.
    filter.Add(SCMP_ACT_ALLOW, SCMP_SYS(tgkill), {Is(0, static_cast<std::uint64_t>(::getpid()))});
}

// What is mapped is the reader's own, or a file that it was given; and nothing that was written is run.
// What grows like a stack the kernel does not count as data, which is what is bounded.
void AddMemory(Filter& filter) {
    for (const int call : {SCMP_SYS(mmap), SCMP_SYS(mmap2)})
        for (const int without : {MAP_ANONYMOUS, MAP_SHARED}) {
            const auto flags = static_cast<unsigned>(without | MAP_GROWSDOWN);
            filter.Add(SCMP_ACT_ALLOW, call, {HasBits(2, PROT_EXEC, 0), HasBits(3, flags, 0)});
        }
    filter.Add(SCMP_ACT_ALLOW, SCMP_SYS(mprotect), {HasBits(2, PROT_EXEC, 0)});
}

void AddDescriptors(Filter& filter) {
    filter.Add(SCMP_ACT_ALLOW, SCMP_SYS(recvmsg), {Is(0, kSocket)});
    // To the program alone, and without descriptors.
    filter.Add(SCMP_ACT_ALLOW, SCMP_SYS(sendto), {Is(0, kSocket), Is(4, 0)});
    // The C library's fstat(). Its name, which is to be empty, no filter sees.
    filter.Add(SCMP_ACT_ALLOW, SCMP_SYS(newfstatat), {HasBits(3, AT_EMPTY_PATH, AT_EMPTY_PATH)});
    // Of the other commands, some have signals sent to whom one likes.
    for (const int command : {F_GETFD, F_SETFD, F_GETFL, F_DUPFD, F_DUPFD_CLOEXEC})
        filter.Add(SCMP_ACT_ALLOW, SCMP_SYS(fcntl), {Is(1, static_cast<std::uint64_t>(command))});
    filter.Add(SCMP_ACT_ERRNO(ENOTTY), SCMP_SYS(ioctl));
    // A library that finds no file goes on without.
    filter.Add(SCMP_ACT_ERRNO(ENOENT), SCMP_SYS(open));
    filter.Add(SCMP_ACT_ERRNO(ENOENT), SCMP_SYS(openat));
}

bool FilterCalls() {
    Filter filter;
    for (const int call : kAllowed)
        filter.Add(SCMP_ACT_ALLOW, call);
    for (const int call : kEnding)
        filter.Add(SCMP_ACT_KILL_PROCESS, call);
    AddThreads(filter);
    AddMemory(filter);
    AddDescriptors(filter);
    return filter.Load();
}

}  // namespace

std::uint8_t CloseDoors() {
    DropPrivileges();
    LimitUse();
    ::prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0);
    std::uint8_t lacking = 0;
    if (!ForbidFiles())
        lacking |= kNoRules;
    if (!FilterCalls())
        lacking |= kNoFilter;
    return lacking;
}

}  // namespace lumato::reader
