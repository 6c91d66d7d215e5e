/// The user's folders as a test names them. Threads: filled first, then read by any number.
#pragma once

#include "QuarrydexCore/platform/AppFolders.h"

#include <string>
#include <utility>
#include <vector>

namespace quarrydex {

class FakeAppFolders final : public AppFolders {
  public:
    explicit FakeAppFolders(std::string home = "/home/ann") : homePath(std::move(home)) {}

    std::string homePath;
    std::string dataPath = homePath + "/.local/share/quarrydex";
    std::string runtimePath = homePath + "/.run/quarrydex";
    std::vector<std::string> named;

    [[nodiscard]] std::string home() const override { return homePath; }

    [[nodiscard]] std::string data() const override { return dataPath; }

    [[nodiscard]] std::string config() const override { return homePath + "/.config/quarrydex"; }

    [[nodiscard]] std::string runtime() const override { return runtimePath; }

    [[nodiscard]] std::vector<std::string> namedFolders() const override { return named; }
};

} // namespace quarrydex
