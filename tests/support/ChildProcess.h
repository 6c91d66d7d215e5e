/// Runs part of a test in a forked child: what needs another user or its own mounts.
#pragma once

#include <cstdio>

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

namespace quarrydex {

inline constexpr int childSkipped = 77;

/// The body returns 0, or childSkipped when the machine does not permit it. Expectations that fail
/// in the child are printed there and fail the caller. REQUIRES: no other thread runs; the body
/// starts none. Returns the body's result.
template <typename F> int runInChild(F&& body) {
    std::fflush(nullptr);
    const pid_t child = ::fork();
    if (child == 0) {
        const int result = body();
        std::fflush(nullptr);
        ::_exit(testing::Test::HasFailure() ? 1 : result);
    }
    int status = 0;
    EXPECT_EQ(::waitpid(child, &status, 0), child);
    const int result = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    EXPECT_TRUE(result == 0 || result == childSkipped) << "the child failed: " << result;
    return result;
}

} // namespace quarrydex
