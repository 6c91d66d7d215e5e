#include "QuarrydexCore/platform/Platform.h"
#include "QuarrydexCore/platform/linux/LinuxDirReader.h"
#include "QuarrydexCore/platform/linux/SystemClock.h"

namespace quarrydex {

const Platform& systemPlatform() {
    static const LinuxDirReader dirReader;
    static const SystemClock clock;
    static const Platform platform{dirReader, clock};
    return platform;
}

} // namespace quarrydex
