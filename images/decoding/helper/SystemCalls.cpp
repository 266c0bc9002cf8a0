#include "SystemCalls.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <memory>

#include <fcntl.h>
#include <linux/fs.h>
#include <linux/sockios.h>
#include <sched.h>
#include <seccomp.h>
#include <sys/ioctl.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace frameflow {

namespace {

// By name, so that a call that is newer than the headers, or unknown to an architecture, does no harm.
constexpr std::array refusedNames{
    // network and messages between processes
    "socket",
    "socketpair",
    "connect",
    "bind",
    "listen",
    "accept",
    "accept4",
    "shmget",
    "msgget",
    "semget",
    "mq_open",
    // programs and processes
    "execve",
    "execveat",
    "fork",
    "vfork",
    "ptrace",
    "process_vm_readv",
    "process_vm_writev",
    "process_madvise",
    "kcmp",
    "pidfd_open",
    "pidfd_getfd",
    "pidfd_send_signal",
    "tkill",
    "unshare",
    "setns",
    "personality",
    // files by name, and those that are open for reading
    "creat",
    "truncate",
    "fallocate",
    "rename",
    "renameat",
    "renameat2",
    "link",
    "linkat",
    "symlink",
    "symlinkat",
    "unlink",
    "unlinkat",
    "mkdir",
    "mkdirat",
    "rmdir",
    "mknod",
    "mknodat",
    "chmod",
    "fchmod",
    "fchmodat",
    "fchmodat2",
    "chown",
    "fchown",
    "lchown",
    "fchownat",
    "utime",
    "utimes",
    "utimensat",
    "futimesat",
    "setxattr",
    "lsetxattr",
    "fsetxattr",
    "setxattrat",
    "removexattr",
    "lremovexattr",
    "fremovexattr",
    "removexattrat",
    "file_setattr",
    "flock",
    "name_to_handle_at",
    "open_by_handle_at",
    "fanotify_init",
    "inotify_init",
    "inotify_init1",
    // the machine
    "mount",
    "umount",
    "umount2",
    "pivot_root",
    "chroot",
    "fsopen",
    "fsconfig",
    "fsmount",
    "fspick",
    "move_mount",
    "open_tree",
    "mount_setattr",
    "swapon",
    "swapoff",
    "quotactl",
    "quotactl_fd",
    "acct",
    "reboot",
    "kexec_load",
    "kexec_file_load",
    "init_module",
    "finit_module",
    "delete_module",
    "settimeofday",
    "clock_settime",
    "clock_adjtime",
    "adjtimex",
    "stime",
    "sethostname",
    "setdomainname",
    "iopl",
    "ioperm",
    "modify_ldt",
    "vhangup",
    "syslog",
    // what has been a way into the kernel, and is of no use here
    "bpf",
    "userfaultfd",
    "perf_event_open",
    "io_uring_setup",
    "io_uring_enter",
    "io_uring_register",
    "io_setup",
    "keyctl",
    "add_key",
    "request_key",
    "memfd_secret",
    "lookup_dcookie",
    // its own rights and limits
    "setrlimit",
    "setuid",
    "setgid",
    "setreuid",
    "setregid",
    "setresuid",
    "setresgid",
    "setfsuid",
    "setfsgid",
    "setgroups",
    "capset",
    "setsid",
    "setpgid",
};

struct Refused
{
    int call;
    scmp_arg_cmp when;
};

// For those arguments that are named, else always. An architecture without the call needs no rule.
bool refuse(scmp_filter_ctx filter, int call, int error, const scmp_arg_cmp* when = nullptr)
{
    const int status = seccomp_rule_add_array(filter, SCMP_ACT_ERRNO(error), call, when != nullptr ? 1 : 0, when);
    return status == 0 || status == -EDOM;
}

template <size_t count>
bool refuse(scmp_filter_ctx filter, const std::array<Refused, count>& list)
{
    return std::all_of(list.begin(), list.end(),
        [&](const Refused& refused) { return refuse(filter, refused.call, EPERM, &refused.when); });
}

scmp_arg_cmp has(unsigned argument, scmp_datum_t mask, scmp_datum_t value)
{
    return {argument, SCMP_CMP_MASKED_EQ, mask, value};
}

scmp_arg_cmp is(unsigned argument, scmp_datum_t value)
{
    // Of arguments that the kernel reads as 32 bits the others may hold anything.
    constexpr scmp_datum_t lowHalf = 0xffffffff;
    return has(argument, lowHalf, value & lowHalf);
}

scmp_arg_cmp isNot(unsigned argument, scmp_datum_t value)
{
    return {argument, SCMP_CMP_NE, value, 0};
}

bool refuseNames(scmp_filter_ctx filter)
{
    return std::all_of(refusedNames.begin(), refusedNames.end(), [&](const char* name) {
        const int call = seccomp_syscall_resolve_name(name);
        return call == __NR_SCMP_ERROR || refuse(filter, call, EPERM);
    });
}

// Libraries fall back to the calls that can be looked into: what these want stands in memory.
bool refuseHidden(scmp_filter_ctx filter)
{
    return refuse(filter, SCMP_SYS(clone3), ENOSYS) && refuse(filter, SCMP_SYS(openat2), ENOSYS);
}

bool refuseWriting(scmp_filter_ctx filter)
{
    std::array<Refused, 10> list{};
    size_t next = 0;
    for (const auto& [call, flags] : {std::pair(SCMP_SYS(open), 1U), std::pair(SCMP_SYS(openat), 2U)}) {
        list.at(next++) = {call, has(flags, O_ACCMODE, O_WRONLY)};
        list.at(next++) = {call, has(flags, O_ACCMODE, O_RDWR)};
        list.at(next++) = {call, has(flags, O_ACCMODE, O_ACCMODE)};
        list.at(next++) = {call, has(flags, O_CREAT, O_CREAT)};
        list.at(next++) = {call, has(flags, O_TRUNC, O_TRUNC)};
    }
    return refuse(filter, list);
}

bool refuseProcesses(scmp_filter_ctx filter)
{
    const auto own = static_cast<scmp_datum_t>(getpid());
    const std::array list{
        Refused{SCMP_SYS(clone), has(0, CLONE_THREAD, 0)},
        Refused{SCMP_SYS(kill), isNot(0, own)},
        Refused{SCMP_SYS(tgkill), isNot(0, own)},
        Refused{SCMP_SYS(rt_sigqueueinfo), isNot(0, own)},
        Refused{SCMP_SYS(rt_tgsigqueueinfo), isNot(0, own)},
        Refused{SCMP_SYS(prlimit64), isNot(0, 0)},
        Refused{SCMP_SYS(prlimit64), isNot(2, 0)},
        Refused{SCMP_SYS(setpriority), isNot(1, 0)},
        Refused{SCMP_SYS(ioprio_set), isNot(1, 0)},
        Refused{SCMP_SYS(sched_setaffinity), isNot(0, 0)},
        Refused{SCMP_SYS(sched_setparam), isNot(0, 0)},
        Refused{SCMP_SYS(sched_setscheduler), isNot(0, 0)},
        Refused{SCMP_SYS(sched_setattr), isNot(0, 0)},
        Refused{SCMP_SYS(migrate_pages), isNot(0, 0)},
        Refused{SCMP_SYS(move_pages), isNot(0, 0)},
        Refused{SCMP_SYS(prctl), is(0, PR_SET_PDEATHSIG)},
        Refused{SCMP_SYS(prctl), is(0, PR_SET_DUMPABLE)},
        Refused{SCMP_SYS(prctl), is(0, PR_SET_PTRACER)},
        Refused{SCMP_SYS(madvise), is(2, MADV_REMOVE)},
    };
    return refuse(filter, list);
}

// A descriptor for reading suffices for some changes, and for telling other processes.
bool refuseByDescriptor(scmp_filter_ctx filter)
{
    const std::array list{
        Refused{SCMP_SYS(ioctl), is(1, TIOCSTI)},
        Refused{SCMP_SYS(ioctl), is(1, TIOCLINUX)},
        Refused{SCMP_SYS(ioctl), is(1, FIOSETOWN)},
        Refused{SCMP_SYS(ioctl), is(1, SIOCSPGRP)},
        Refused{SCMP_SYS(ioctl), is(1, FS_IOC_SETFLAGS)},
        Refused{SCMP_SYS(ioctl), is(1, FS_IOC_FSSETXATTR)},
        Refused{SCMP_SYS(ioctl), is(1, FICLONE)},
        Refused{SCMP_SYS(ioctl), is(1, FICLONERANGE)},
        Refused{SCMP_SYS(ioctl), is(1, FIDEDUPERANGE)},
        Refused{SCMP_SYS(fcntl), is(1, F_SETOWN)},
        Refused{SCMP_SYS(fcntl), is(1, F_SETOWN_EX)},
        Refused{SCMP_SYS(fcntl), is(1, F_SETSIG)},
        Refused{SCMP_SYS(fcntl), is(1, F_SETLEASE)},
        Refused{SCMP_SYS(fcntl), is(1, F_NOTIFY)},
        Refused{SCMP_SYS(fcntl), is(1, F_SETLK)},
        Refused{SCMP_SYS(fcntl), is(1, F_SETLKW)},
        Refused{SCMP_SYS(fcntl), is(1, F_OFD_SETLK)},
        Refused{SCMP_SYS(fcntl), is(1, F_OFD_SETLKW)},
    };
    return refuse(filter, list);
}

} // namespace

bool canRestrictSystemCalls()
{
    return prctl(PR_GET_SECCOMP, 0, 0, 0, 0) >= 0;
}

bool restrictSystemCalls()
{
    const auto release = [](void* filter) { seccomp_release(filter); };
    const std::unique_ptr<void, decltype(release)> filter(seccomp_init(SCMP_ACT_ALLOW), release);
    return filter && refuseNames(filter.get()) && refuseHidden(filter.get()) && refuseWriting(filter.get())
        && refuseProcesses(filter.get()) && refuseByDescriptor(filter.get()) && seccomp_load(filter.get()) == 0;
}

} // namespace frameflow
