/// The application object that event loops need, for the whole run of a test program that includes
/// this.
#pragma once

#include <QCoreApplication>

#include <memory>

#include <gtest/gtest.h>

namespace quarrydex::testing {

class QtApplication : public ::testing::Environment {
  public:
    void SetUp() override { app_ = std::make_unique<QCoreApplication>(argc_, argv_); }

    void TearDown() override { app_.reset(); }

  private:
    int argc_ = 1;
    char name_[5] = "test";
    char* argv_[2] = {name_, nullptr};
    std::unique_ptr<QCoreApplication> app_;
};

[[maybe_unused]] inline const auto* const qtApplication =
    ::testing::AddGlobalTestEnvironment(new QtApplication);

} // namespace quarrydex::testing
