/// One process of the program that reads files, from its start to its end.
///
/// Threads: the main thread, which never waits for the process. Ownership: retire() it instead of
/// destroying it; an object that is destroyed waits a moment for the process that it kills.
/// Failure: hasFailed().
#pragma once

#include "QuarrydexApp/metadata/Protocol.h"

#include <QObject>

#include <memory>
#include <string>
#include <string_view>

class QProcess;

namespace quarrydex {

class MetaHelper final : public QObject {
    Q_OBJECT

  public:
    /// Starts the program at the path.
    explicit MetaHelper(const std::string& program);
    ~MetaHelper() override;

    /// The program has said that it works: what goes wrong from now on is the fault of a file.
    [[nodiscard]] bool isReady() const { return isReady_; }

    void send(std::string_view record);

    /// Kills the process; the object says nothing more and goes when the process has gone.
    void retire();

  Q_SIGNALS:
    /// From now on isReady().
    void greeted();

    void answered(const protocol::Answer& answer);

    /// The process could not be started, has ended or said what it must not. Comes once.
    void hasFailed();

  private:
    void read();
    void take(std::string_view record);
    void fail();

    std::unique_ptr<QProcess> process_;
    protocol::RecordStream answers_{protocol::largestAnswer};
    bool isReady_ = false;
    bool isOver_ = false; ///< failed or retired
};

} // namespace quarrydex
