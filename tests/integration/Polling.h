/// Waiting for what another program does: nothing tells of it, so it is looked at again and again.
/// Threads: one. Failure: false once the time that programs are given is over.
#pragma once

#include "tests/support/Program.h"

#include <chrono>
#include <functional>
#include <optional>
#include <set>
#include <string>
#include <thread>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

namespace quarrydex {

inline bool eventually(const std::function<bool()>& holds) {
    using namespace std::chrono_literals;
    const auto end = std::chrono::steady_clock::now() + 60s;
    while (!holds()) {
        if (std::chrono::steady_clock::now() > end)
            return false;
        std::this_thread::sleep_for(5ms); // between two looks
    }
    return true;
}

/// Asks a program that answers requests (--batch) until it finds just these paths.
inline ::testing::AssertionResult comesToFind(RunningProgram& program,
                                              const std::set<std::string>& wanted,
                                              const std::string& query = "mp3") {
    std::optional<std::string> last;
    const bool isFound = eventually([&] {
        program.writeLine(nlohmann::json{{"query", query}}.dump());
        last = program.readLine();
        if (!last)
            return true;
        const nlohmann::json answer = nlohmann::json::parse(*last);
        return answer["paths"].get<std::set<std::string>>() == wanted;
    });
    return isFound && last ? ::testing::AssertionSuccess()
                           : ::testing::AssertionFailure() << last.value_or("the program is gone");
}

} // namespace quarrydex
