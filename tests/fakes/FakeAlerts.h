/// A user who answers at once what a test says, and remembers what was told and asked.
/// Threads: one.
#pragma once

#include "QuarrydexApp/table/Alerts.h"

#include <string>
#include <utility>
#include <vector>

namespace quarrydex {

class FakeAlerts final : public Alerts {
  public:
    std::vector<std::pair<std::string, std::string>> told; ///< message and text
    std::vector<Question> asked;
    Answer answer{.isYes = true, .suppresses = false};

    void tell(const std::string& message, const std::string& text) override {
        told.emplace_back(message, text);
    }

    void ask(const Question& question, std::function<void(Answer)> to) override {
        asked.push_back(question);
        to(answer);
    }
};

} // namespace quarrydex
