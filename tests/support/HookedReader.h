/// A reader of folders with something done after each that it has listed.
/// Threads: as the reader inside; the hook is called on the thread that lists.
#pragma once

#include "QuarrydexCore/platform/DirReader.h"

#include <functional>
#include <string>
#include <utility>

namespace quarrydex::testing {

class HookedReader final : public DirReader {
  public:
    /// `inner` must outlive this.
    HookedReader(const DirReader& inner, std::function<void(const std::string& folder)> listed)
        : inner_(inner), listed_(std::move(listed)) {}

    [[nodiscard]] int
    list(const std::string& path, ListOptions options, DirListing& out) const override {
        const int error = inner_.list(path, options, out);
        listed_(path);
        return error;
    }

    [[nodiscard]] int status(const std::string& path, PathStatus& out) const override {
        return inner_.status(path, out);
    }

    [[nodiscard]] int probeFolder(const std::string& path, std::uint64_t& device) const override {
        return inner_.probeFolder(path, device);
    }

  private:
    const DirReader& inner_;
    std::function<void(const std::string&)> listed_;
};

} // namespace quarrydex::testing
