/// What an ordinary user may do, for tests that run as root.
#pragma once

#include "tests/support/ChildProcess.h"

#include <filesystem>
#include <string>

#include <grp.h>
#include <unistd.h>

namespace quarrydex {

inline constexpr unsigned ordinaryUser = 65534;

/// Why no other user can be put on; empty when one can.
inline std::string userLack() {
    return ::geteuid() == 0 ? "" : "becoming another user needs root";
}

/// Gives the folder and everything in it to the ordinary user.
inline void giveToOrdinaryUser(const std::string& folder) {
    ASSERT_EQ(::lchown(folder.c_str(), ordinaryUser, ordinaryUser), 0);
    for (const auto& entry : std::filesystem::recursive_directory_iterator(folder))
        ASSERT_EQ(::lchown(entry.path().c_str(), ordinaryUser, ordinaryUser), 0);
}

/// Puts the ordinary user on for good. REQUIRES: a child made by runInChild.
inline void becomeOrdinaryUser() {
    ASSERT_EQ(::setgroups(0, nullptr), 0);
    ASSERT_EQ(::setresgid(ordinaryUser, ordinaryUser, ordinaryUser), 0);
    ASSERT_EQ(::setresuid(ordinaryUser, ordinaryUser, ordinaryUser), 0);
}

} // namespace quarrydex
