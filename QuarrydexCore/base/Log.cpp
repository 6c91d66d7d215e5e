#include "QuarrydexCore/base/Log.h"

#include <cstdio>
#include <cstdlib>
#include <string>

namespace quarrydex {

bool isVerbose() {
    // NOLINTNEXTLINE(concurrency-mt-unsafe): nobody writes it
    static const bool verbose = std::getenv("QUARRYDEX_VERBOSE") != nullptr;
    return verbose;
}

void logLine(std::string_view line) {
    if (!isVerbose())
        return;
    const std::string text = std::string(line) + '\n';
    std::fwrite(text.data(), 1, text.size(), stderr);
}

} // namespace quarrydex
