/// A system that does not know some of its calls, as old and foreign file systems do not: a filter
/// that the kernel asks. It stays for the life of the process.
#pragma once

#include <cstddef>
#include <cstdint>

#include <gtest/gtest.h>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <sys/prctl.h>

namespace quarrydex {

/// Lets the call fail with the error whenever its argument `flags`, counted from 0, is not 0.
/// REQUIRES: a child made by runInChild.
inline void denyFlags(int call, int flags, int error) {
    const auto offset = static_cast<std::uint32_t>(offsetof(seccomp_data, args)) +
                        static_cast<std::uint32_t>(flags) * 8;
    sock_filter filter[] = {
        BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr)),
        BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, static_cast<std::uint32_t>(call), 0, 3),
        BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offset),
        BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, 0, 1, 0),
        BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ERRNO | static_cast<std::uint32_t>(error)),
        BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW),
    };
    const sock_fprog program{static_cast<unsigned short>(std::size(filter)), filter};
    ASSERT_EQ(::prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0), 0);
    ASSERT_EQ(::prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &program), 0);
}

} // namespace quarrydex
