/// The application object that widgets need, on no display, for the whole run of a test program
/// that includes this.
#pragma once

#include <QApplication>

#include <memory>

#include <gtest/gtest.h>

namespace quarrydex::testing {

class WidgetsApplication : public ::testing::Environment {
  public:
    void SetUp() override {
        qputenv("QT_QPA_PLATFORM", "offscreen");
        app_ = std::make_unique<QApplication>(argc_, argv_);
        QApplication::setQuitOnLastWindowClosed(false);
    }

    void TearDown() override { app_.reset(); }

  private:
    int argc_ = 1;
    char name_[5] = "test";
    char* argv_[2] = {name_, nullptr};
    std::unique_ptr<QApplication> app_;
};

[[maybe_unused]] inline const auto* const widgetsApplication =
    ::testing::AddGlobalTestEnvironment(new WidgetsApplication);

} // namespace quarrydex::testing
