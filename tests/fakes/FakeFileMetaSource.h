/// A source of metadata that answers when a test says so, and notes what it was asked for.
/// Threads: one.
#pragma once

#include "QuarrydexApp/metadata/FileMetaSource.h"

#include <map>
#include <string>
#include <utility>
#include <vector>

namespace quarrydex {

class FakeFileMetaSource final : public FileMetaSource {
  public:
    struct Question {
        std::string path;
        bool isPreview = false;
        QSize limit{}; ///< of a preview
        std::function<void(const FilePreview&)> answer{};
    };

    Ticket meta(std::string path, std::function<void(const FileMeta&)> answer) override {
        return note({.path = std::move(path),
                     .answer = [answer = std::move(answer)](const FilePreview& found) {
                         answer(found.meta);
                     }});
    }

    Ticket preview(std::string path,
                   QSize limit,
                   std::function<void(const FilePreview&)> answer) override {
        return note({.path = std::move(path),
                     .isPreview = true,
                     .limit = limit,
                     .answer = std::move(answer)});
    }

    void withdraw(Ticket ticket) override { waiting_.erase(ticket); }

    /// The paths of all questions, in their order.
    [[nodiscard]] const std::vector<std::string>& asked() const { return asked_; }

    /// Those that were neither answered nor withdrawn.
    [[nodiscard]] std::vector<Question> waiting() const {
        std::vector<Question> out;
        for (const auto& [ticket, question] : waiting_)
            out.push_back(question);
        return out;
    }

    /// Answers the questions about the path that wait.
    void answer(const std::string& path, const FilePreview& found) {
        for (Question& question : take([&](const Question& each) { return each.path == path; }))
            question.answer(found);
    }

    /// Answers every question that waits, and those that come of the answers.
    void answerAll(const FileMeta& meta) {
        while (!waiting_.empty())
            for (Question& question : take([](const Question&) { return true; }))
                question.answer({.picture = {}, .text = {}, .meta = meta});
    }

  private:
    Ticket note(Question question) {
        asked_.push_back(question.path);
        waiting_[++last_] = std::move(question);
        return last_;
    }

    template <typename Wanted> std::vector<Question> take(Wanted wanted) {
        std::vector<Question> out;
        for (auto at = waiting_.begin(); at != waiting_.end();)
            if (wanted(at->second)) {
                out.push_back(std::move(at->second));
                at = waiting_.erase(at);
            } else {
                ++at;
            }
        return out;
    }

    std::vector<std::string> asked_;
    std::map<Ticket, Question> waiting_;
    Ticket last_ = 0;
};

} // namespace quarrydex
