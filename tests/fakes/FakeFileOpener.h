/// An opener that notes what it was asked for, and fails when a test says so.
/// Threads: one.
#pragma once

#include "QuarrydexApp/platform/FileOpener.h"

#include <string>
#include <vector>

namespace quarrydex {

class FakeFileOpener final : public FileOpener {
  public:
    std::vector<std::string> opened;
    std::vector<std::string> revealed;
    std::string failure; ///< told for what is opened; empty: nothing fails

    void open(const std::vector<std::string>& paths, Failed failed) override {
        opened.insert(opened.end(), paths.begin(), paths.end());
        if (!failure.empty())
            failed(failure);
    }

    void reveal(const std::vector<std::string>& paths, Failed) override {
        revealed.insert(revealed.end(), paths.begin(), paths.end());
    }
};

} // namespace quarrydex
