// SPDX-License-Identifier: MIT
#include <sys/syscall.h>

#include <cerrno>

#include "helpers/environment.h"
#include "ladders/Calls.h"

namespace ladders {

const std::vector<CallErrors>& callErrors() {
    using faults::Call;
    // A sanitizer's runtime, whose calls these may be, ends the process.
    static const auto memoryErrors = helpers::kAddressSanitizer || helpers::kThreadSanitizer
                                         ? std::vector<int>{}
                                         : std::vector<int>{ENOMEM};
    static const std::vector<CallErrors> table{
        {"open",
         {
#ifdef SYS_open
             SYS_open,
#endif
             SYS_openat},
         {Call::open, Call::openat, Call::mkostemp},
         {EACCES, EMFILE, ENFILE, ENOMEM, ENOSPC, EROFS, EINTR, EIO}},
        {"read", {SYS_read, SYS_readv, SYS_pread64}, {Call::read}, {EIO, EINTR}},
        {"write",
         {SYS_write, SYS_writev},
         {Call::write, Call::writev},
         {ENOSPC, EDQUOT, EFBIG, EIO, EINTR}},
        {"sendfile",
         {
#ifdef SYS_sendfile64
             SYS_sendfile64,
#endif
             SYS_sendfile, SYS_copy_file_range},
         {},
         {EINVAL, EIO, ENOSPC}},
        {"fsync",
         {SYS_fsync, SYS_fdatasync},
         {Call::fsync, Call::fdatasync},
         {EIO, EINTR, EINVAL, EROFS, ENOSPC, EDQUOT}},
        {"ftruncate",
         {
#ifdef SYS_ftruncate64
             SYS_ftruncate64,
#endif
             SYS_ftruncate},
         {Call::ftruncate},
         {EIO, EINTR}},
        {"flock", {SYS_flock}, {Call::flock}, {ENOLCK}},
        {"lseek",
         {
#ifdef SYS__llseek
             SYS__llseek,
#endif
             SYS_lseek},
         {Call::lseek},
         {ESPIPE, EOVERFLOW}},
        {"stat",
         {
#ifdef SYS_stat
             SYS_stat, SYS_lstat,
#endif
#ifdef SYS_newfstatat
             SYS_newfstatat,
#endif
#ifdef SYS_fstat64
             SYS_fstat64, SYS_fstatat64,
#endif
             SYS_fstat, SYS_statx},
         {Call::fstat},
         {EIO, EACCES, ENOMEM}},
        {"chmod",
         {
#ifdef SYS_chmod
             SYS_chmod,
#endif
             SYS_fchmod, SYS_fchmodat},
         {Call::fchmod},
         {EPERM, EROFS, EIO}},
        {"fchown", {SYS_fchown}, {Call::fchown}, {EPERM}},
        {"rename",
         {
#ifdef SYS_rename
             SYS_rename,
#endif
             SYS_renameat, SYS_renameat2},
         {Call::rename, Call::renameat2},
         {EINVAL, ENOSYS, EXDEV, EPERM, EBUSY, ENOSPC, EIO}},
        {"unlink",
         {
#ifdef SYS_unlink
             SYS_unlink, SYS_rmdir,
#endif
             SYS_unlinkat},
         {Call::unlink, Call::rmdir},
         {EPERM, EACCES, EBUSY, EROFS}},
        {"mkdir",
         {
#ifdef SYS_mkdir
             SYS_mkdir,
#endif
             SYS_mkdirat},
         {Call::mkdir, Call::mkdtemp},
         {EACCES, EEXIST, ENOSPC, EROFS}},
        {"getdents", {SYS_getdents64}, {}, {EIO}},
        {"pipe", {SYS_pipe2}, {Call::pipe2}, {EMFILE, ENFILE}},
        {"fcntl",
         {
#ifdef SYS_fcntl64
             SYS_fcntl64,
#endif
             SYS_fcntl},
         {Call::fcntl},
         {EMFILE, EINVAL}},
        {"dup",
         {
#ifdef SYS_dup2
             SYS_dup2,
#endif
             SYS_dup3},
         {Call::dup2},
         {EBUSY, EINTR}},
        {"clone",
         {
#ifdef SYS_fork
             SYS_fork, SYS_vfork,
#endif
             SYS_clone},
         {Call::fork, Call::clone, Call::pthread_create},
         {EAGAIN, ENOMEM}},
        {"clone3", {SYS_clone3}, {}, {EAGAIN, ENOMEM, ENOSPC, ENOSYS, EPERM}},
        {"execve", {SYS_execve}, {Call::execve}, {ENOENT, EACCES, ENOMEM, E2BIG, ETXTBSY}},
        {"wait", {SYS_waitid, SYS_wait4}, {Call::waitid, Call::waitpid}, {EINTR}},
        {"poll",
         {
#ifdef SYS_poll
             SYS_poll,
#endif
#ifdef SYS_ppoll_time64
             SYS_ppoll_time64,
#endif
             SYS_ppoll},
         {Call::poll},
         {EINTR, ENOMEM}},
        // Not where it is the only way (an emulator has no process descriptors): a refusal then
        // leaves nothing but to wait for the program's own end.
        {"kill", {SYS_kill}, {}, {EPERM}},
        {"pidfd_open", {SYS_pidfd_open}, {}, {EMFILE, ENOSYS, EPERM}},
        {"pidfd_send_signal", {SYS_pidfd_send_signal}, {}, {ENOSYS, EPERM}},
        {"close_range", {436}, {}, {ENOSYS, EPERM}},
        {"chdir", {SYS_chdir}, {}, {EACCES, ENOENT}},
        {"chroot", {SYS_chroot}, {}, {EPERM, ENOENT}},
        {"setpgid", {SYS_setpgid}, {}, {EPERM}},
        {"identity",
         {
             SYS_setuid,
             SYS_setgid,
             SYS_setresuid,
             SYS_setresgid,
             SYS_setgroups,
#ifdef SYS_setuid32
             SYS_setuid32,
             SYS_setgid32,
             SYS_setresuid32,
             SYS_setresgid32,
             SYS_setgroups32,
#endif
         },
         {},
         {EPERM, EAGAIN}},
        {"capset", {SYS_capset}, {}, {EPERM}},
        {"chown",
         {
#ifdef SYS_chown
             SYS_chown,
#endif
             SYS_fchownat},
         {},
         {EPERM, EROFS}},
        {"utimensat",
         {
#ifdef SYS_utimensat_time64
             SYS_utimensat_time64,
#endif
             SYS_utimensat},
         {},
         {EPERM, EROFS}},
        {"prctl", {SYS_prctl}, {}, {EINVAL, EPERM}},
        {"getrandom", {SYS_getrandom}, {}, {EINTR, ENOSYS}},
        {"sleep",
         {
#ifdef SYS_clock_nanosleep_time64
             SYS_clock_nanosleep_time64,
#endif
             SYS_nanosleep, SYS_clock_nanosleep},
         {Call::nanosleep},
         {EINTR}},
        {"times", {SYS_times}, {Call::times}, {EINVAL}},
        {"mmap",
         {
#ifdef SYS_mmap
             SYS_mmap,
#else
             SYS_mmap2,
#endif
         },
         {},
         memoryErrors},
        {"mprotect", {SYS_mprotect}, {}, memoryErrors},
        {"dlopen", {}, {Call::dlopen}, {ENOMEM}},
    };
    return table;
}

namespace {

/// The errno that a struck call got, or 0.
int errorOf(const CallFault::State& state) {
    const auto& errors = callErrors()[static_cast<std::size_t>(state.struck.load())].errors;
    const auto error = static_cast<std::size_t>(state.failingError.load());
    return error < errors.size() ? errors[error] : 0;
}

}  // namespace

int errorNow(CallFault::State& state, int index) {
    if (index < 0 || !state.active || ++state.calls != state.failingCall) {
        return 0;
    }
    state.struck = index;
    return errorOf(state);
}

bool CallFault::deniedMemory() const {
    return struck() && errorOf(state_) == ENOMEM;
}

void CallFault::begin() {
    state_.calls = 0;
    state_.struck = -1;
    state_.active = true;
}

void CallFault::end() {
    state_.active = false;
}

}  // namespace ladders
