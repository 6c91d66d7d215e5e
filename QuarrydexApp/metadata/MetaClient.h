/// FileMetaSource by a process of the program's own, so that a file that no reader was made for can
/// neither bring the window down nor hold it up.
///
/// The process is started with the first request and ended after a minute without one. It works on
/// one file at a time, newest request first; one more is sent ahead, so that it does not wait for
/// the main thread. A file on which it dies, says nonsense or takes longer than the deadline is
/// answered empty and not tried again in this run; the others go to a new process. Every failure in
/// a row doubles the pause before the next start. A process that does not even greet says nothing
/// about files: after a few of those what is waiting is answered empty.
///
/// Threads: the main thread, with its event loop; never waits. Ownership: answers are called until
/// the object is destroyed, which ends the process; an answer may destroy it. Failure: empty
/// values.
#pragma once

#include "QuarrydexApp/metadata/FileMetaSource.h"
#include "QuarrydexApp/metadata/Protocol.h"

#include <QObject>
#include <QTimer>

#include <chrono>
#include <cstddef>
#include <deque>
#include <functional>
#include <map>
#include <string>
#include <unordered_set>

namespace quarrydex {

class MetaHelper;

/// The program that reads files: beside the running program, else where it is installed. The former
/// where there is none.
[[nodiscard]] std::string metaHelperProgram();

struct MetaClientOptions {
    std::string program = metaHelperProgram();
    std::chrono::milliseconds deadline{5'000};       ///< for one file
    std::chrono::milliseconds startDeadline{30'000}; ///< for a process to greet
    std::chrono::milliseconds idle{60'000};    ///< without requests, until the process is ended
    std::chrono::milliseconds firstPause{250}; ///< before the second start in a row
    std::chrono::milliseconds longestPause{30'000};
    std::size_t mostWaiting = 1'024; ///< more, and the oldest are answered empty
};

class MetaClient final : public QObject, public FileMetaSource {
    Q_OBJECT

  public:
    explicit MetaClient(MetaClientOptions options = {}, QObject* parent = nullptr);
    ~MetaClient() override;

    Ticket meta(std::string path, std::function<void(const FileMeta&)> answer) override;
    Ticket
    preview(std::string path, QSize limit, std::function<void(const FilePreview&)> answer) override;
    void withdraw(Ticket ticket) override;

  private:
    struct Wish {
        protocol::Request request;
        std::function<void(const FilePreview&)> answer; ///< none once withdrawn
    };

    using Wishes = std::map<Ticket, Wish>; ///< the newest last

    Ticket add(protocol::Request request, std::function<void(const FilePreview&)> answer);
    void work();
    void answerHopeless();
    void sendAhead();
    void send(Wish wish);
    void startClock();
    void take(const protocol::Answer& answer);
    void recover();
    void dropHelper();
    void giveBack();
    [[nodiscard]] std::chrono::milliseconds pause() const;

    const MetaClientOptions options_;
    MetaHelper* helper_ = nullptr; ///< ours until retired
    Ticket lastTicket_ = 0;
    Wishes waiting_;
    Wishes hopeless_;                     ///< to be answered empty by the event loop
    std::deque<Wish> inFlight_;           ///< the one that is worked on first
    std::unordered_set<std::string> bad_; ///< paths of files that are not tried again
    int failures_ = 0;                    ///< since the last answer
    int fruitless_ = 0;                   ///< processes in a row that did not greet
    QTimer soon_;                         ///< work() when the event loop is next reached
    QTimer deadline_;
    QTimer idle_;
    QTimer pause_; ///< runs while no process may be started
};

} // namespace quarrydex
