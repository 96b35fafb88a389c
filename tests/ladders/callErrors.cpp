#include <sys/syscall.h>

#include <cerrno>

#include "ladders/Calls.h"

namespace ladders {

const std::vector<CallErrors>& callErrors() {
    using faults::Call;
    static const std::vector<CallErrors> table{
        {"open",
         {
#ifdef SYS_open
             SYS_open,
#endif
             SYS_openat},
         {Call::open, Call::openat, Call::mkostemp},
         {EACCES, EMFILE, ENOSPC, EINTR, EIO}},
        {"read", {SYS_read, SYS_readv, SYS_pread64}, {Call::read}, {EIO, EINTR}},
        {"write", {SYS_write, SYS_writev}, {Call::write, Call::writev}, {ENOSPC, EIO, EINTR}},
        {"sendfile", {SYS_sendfile, SYS_copy_file_range}, {}, {EINVAL, EIO, ENOSPC}},
        {"fsync",
         {SYS_fsync, SYS_fdatasync},
         {Call::fsync, Call::fdatasync},
         {EIO, EINTR, EINVAL, EROFS}},
        {"ftruncate", {SYS_ftruncate}, {Call::ftruncate}, {EIO, EINTR}},
        {"lseek", {SYS_lseek}, {Call::lseek}, {ESPIPE}},
        {"stat",
         {
#ifdef SYS_stat
             SYS_stat, SYS_lstat,
#endif
#ifdef SYS_newfstatat
             SYS_newfstatat,
#endif
             SYS_fstat, SYS_statx},
         {Call::fstat},
         {EIO, EACCES}},
        {"chmod",
         {
#ifdef SYS_chmod
             SYS_chmod,
#endif
             SYS_fchmod, SYS_fchmodat},
         {Call::fchmod},
         {EPERM, EROFS}},
        {"fchown", {SYS_fchown}, {Call::fchown}, {EPERM}},
        {"rename",
         {
#ifdef SYS_rename
             SYS_rename,
#endif
             SYS_renameat, SYS_renameat2},
         {Call::rename, Call::renameat2},
         {EINVAL, ENOSYS, EXDEV, EPERM, EIO}},
        {"unlink",
         {
#ifdef SYS_unlink
             SYS_unlink, SYS_rmdir,
#endif
             SYS_unlinkat},
         {Call::unlink, Call::rmdir},
         {EPERM, EBUSY, ENOENT}},
        {"mkdir",
         {
#ifdef SYS_mkdir
             SYS_mkdir,
#endif
             SYS_mkdirat},
         {Call::mkdir, Call::mkdtemp},
         {EACCES, EEXIST, ENOSPC}},
        {"getdents", {SYS_getdents64}, {}, {EIO}},
        {"pipe", {SYS_pipe2}, {Call::pipe2}, {EMFILE, ENFILE}},
        {"fcntl", {SYS_fcntl}, {Call::fcntl}, {EMFILE, EINVAL}},
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
        {"clone3", {SYS_clone3}, {}, {EAGAIN, ENOMEM, ENOSYS, EPERM}},
        {"execve", {SYS_execve}, {Call::execve}, {ENOENT, EACCES, ENOMEM}},
        {"wait", {SYS_waitid, SYS_wait4}, {Call::waitid, Call::waitpid}, {EINTR, ECHILD}},
        {"poll",
         {
#ifdef SYS_poll
             SYS_poll,
#endif
             SYS_ppoll},
         {Call::poll},
         {EINTR, ENOMEM}},
        {"kill", {SYS_kill}, {Call::kill}, {EPERM, ESRCH}},
        {"pidfd_open", {SYS_pidfd_open}, {}, {EMFILE, ENOSYS, EPERM}},
        {"pidfd_send_signal", {SYS_pidfd_send_signal}, {}, {ENOSYS, EPERM, ESRCH}},
        {"close_range", {436}, {}, {ENOSYS, EPERM}},
        {"chdir", {SYS_chdir}, {}, {EACCES, ENOENT}},
        {"setpgid", {SYS_setpgid}, {}, {EPERM}},
        {"getrandom", {SYS_getrandom}, {}, {EINTR, ENOSYS}},
        {"sleep", {SYS_nanosleep, SYS_clock_nanosleep}, {Call::nanosleep}, {EINTR}},
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
         {ENOMEM}},
        {"mprotect", {SYS_mprotect}, {}, {ENOMEM}},
        {"dlopen", {}, {Call::dlopen}, {ENOMEM}},
    };
    return table;
}

int errorNow(CallFault::State& state, int index) {
    if (index < 0 || !state.active || ++state.calls != state.failingCall) {
        return 0;
    }
    state.struck = index;
    const auto& errors = callErrors()[static_cast<std::size_t>(index)].errors;
    const auto error = static_cast<std::size_t>(state.failingError);
    return error < errors.size() ? errors[error] : 0;
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
