// SPDX-License-Identifier: MIT
#pragma once

#include <linux/filter.h>
#include <linux/seccomp.h>
#include <sys/prctl.h>

#include <cstddef>
#include <cstdint>
#include <iterator>

namespace helpers {

/// A system call that a kernel, older or behind a filter, refuses. Where `mask` is not 0 only calls
/// whose argument with that number has exactly those bits of `value` are meant.
struct RefusedCall {
    long number;
    int error;
    unsigned argument = 0;
    std::uint32_t mask = 0;
    std::uint32_t value = 0;
};

/// Refuses it for this process and its children from now on; false where the system has no such
/// filters (an emulator, a kernel without seccomp).
[[nodiscard]] inline bool refuse(const RefusedCall& call) {
    const auto argument =
        static_cast<std::uint32_t>(offsetof(seccomp_data, args) + 8 * call.argument);
    sock_filter code[] = {
        BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr)),
        BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, static_cast<std::uint32_t>(call.number), 0, 4),
        BPF_STMT(BPF_LD | BPF_W | BPF_ABS, argument),
        BPF_STMT(BPF_ALU | BPF_AND | BPF_K, call.mask),
        BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, call.value & call.mask, 0, 1),
        BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ERRNO | static_cast<std::uint32_t>(call.error)),
        BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW),
    };
    const sock_fprog program{static_cast<unsigned short>(std::size(code)), code};
    return ::prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) == 0 &&
           ::prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &program) == 0;
}

}  // namespace helpers
