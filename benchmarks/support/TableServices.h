/// What a results table stands on, without a desktop: settings in memory, nothing that opens or
/// changes files, and lazy values that come at once.
///
/// Threads: the main thread.
#pragma once

#include "QuarrydexActions/platform/ActionsPlatform.h"
#include "QuarrydexApp/prefs/Prefs.h"
#include "QuarrydexApp/table/ResultsTable.h"
#include "QuarrydexCore/platform/Platform.h"

#include "tests/fakes/FakeFileOpener.h"
#include "tests/fakes/FakeSettings.h"

#include <QTimer>

#include <string>
#include <unordered_map>
#include <utility>

namespace quarrydex::bench {

/// Answers with the next turn of the event loop, each question by itself.
class PromptMeta final : public FileMetaSource {
  public:
    Ticket meta(std::string, std::function<void(const FileMeta&)> answer) override {
        asked_.emplace(++last_, std::move(answer));
        QTimer::singleShot(0, &context_, [this, ticket = last_] { reply(ticket); });
        return last_;
    }

    Ticket preview(std::string, QSize, std::function<void(const FilePreview&)>) override {
        return ++last_;
    }

    void withdraw(Ticket ticket) override { asked_.erase(ticket); }

    [[nodiscard]] std::size_t answered() const { return answered_; }

    [[nodiscard]] std::size_t waiting() const { return asked_.size(); }

  private:
    void reply(Ticket ticket) {
        auto question = asked_.extract(ticket);
        if (question.empty())
            return;
        ++answered_;
        question.mapped()({.atime = 1'600'000'000,
                           .durationMs = 187'000,
                           .bitrateKbps = 320,
                           .rate = 44'100,
                           .w = 1920,
                           .h = 1080,
                           .pages = 12});
    }

    std::unordered_map<Ticket, std::function<void(const FileMeta&)>> asked_;
    Ticket last_ = 0;
    std::size_t answered_ = 0;
    QObject context_;
};

struct TableServices {
    FakeSettings settings;
    Prefs prefs{settings, systemPlatform().folders, systemPlatform().mounts};
    FakeFileOpener opener;
    PromptMeta files;

    [[nodiscard]] ResultsTable::Services on(Model& model) {
        return {model, prefs, opener, files, systemActionsPlatform()};
    }
};

} // namespace quarrydex::bench
