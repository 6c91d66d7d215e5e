/// The drives that can be chosen, looked for in the background and again whenever one comes or
/// goes.
///
/// Threads: the main thread. Ownership: refers to the platform, which lives until the program ends.
/// Fails: never; see findCandidates.
#pragma once

#include "QuarrydexApp/model/Candidate.h"
#include "QuarrydexApp/windows/Background.h"
#include "QuarrydexCore/platform/Platform.h"

#include <QObject>

#include <memory>
#include <string>
#include <vector>

namespace quarrydex {

/// A drive and the user's own folders on it, relative to its root.
struct FoundDrive {
    Candidate drive;
    std::vector<std::string> personalFolders{};

    bool operator==(const FoundDrive&) const = default;
};

class CandidateFinder : public QObject {
    Q_OBJECT

  public:
    explicit CandidateFinder(const Platform& platform, QObject* parent = nullptr);

    /// Begins to look; while a look is under way, another one follows it.
    void look(bool withDiskImages);

    [[nodiscard]] bool isLooking() const { return isLooking_; }

    /// As of the last look; empty before the first.
    [[nodiscard]] const std::vector<FoundDrive>& drives() const { return drives_; }

  Q_SIGNALS:
    void found();

  private:
    void take(std::vector<FoundDrive> drives);

    const Platform platform_;
    std::vector<FoundDrive> drives_;
    bool withDiskImages_ = false;
    bool isLooking_ = false;
    bool looksAgain_ = false;
    Background background_;
    std::unique_ptr<Subscription> mountWatch_; ///< last: it posts to the one above
};

} // namespace quarrydex
