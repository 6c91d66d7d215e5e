/// The questions that touch a file system, each in one function without shared state, so that they
/// can be asked on a thread that may have to be left behind. See LinuxVolumeInfo.
///
/// Threads: any. Fails: never; what is not answered is empty or 0.
#pragma once

#include "QuarrydexCore/platform/VolumeInfo.h"

#include <cstdint>
#include <string>

namespace quarrydex {

struct VolumeProbe {
    bool isAnswered{};       ///< the path exists and could be examined
    std::uint64_t mountId{}; ///< as in the mount table; 0 when unknown
    FileIdentity identity;
    std::string uuid; ///< from the file system's own record, in the usual five groups
    std::string label;
};

/// Follows links. Opens a folder for reading where that is allowed, for a moment.
[[nodiscard]] VolumeProbe probeVolume(const std::string& path);

/// Device number of the device file at a path; 0 when it is none.
[[nodiscard]] std::uint64_t deviceOfFile(const std::string& path);

/// Name of the link in the folder that leads to the device; empty for none.
[[nodiscard]] std::string linkToDevice(const std::string& folder, std::uint64_t device);

/// True for a loop device, a part of one, and what is mapped onto one, by the folder of links
/// "<major>:<minor>".
[[nodiscard]] bool isOnLoopDevice(const std::string& sysBlock, std::uint64_t device);

} // namespace quarrydex
