/// One card for each drive: those that are there, and those with a saved catalogue that are not.
///
/// Drives are asked in the background; one that is plugged in meanwhile appears. What the user has
/// chosen on a card stays while the cards around it come and go.
///
/// Threads: the main thread. Fails: never.
#pragma once

#include "QuarrydexApp/prefs/Prefs.h"
#include "QuarrydexApp/windows/CandidateFinder.h"
#include "QuarrydexApp/windows/WindowSeams.h"

#include <QWidget>

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

class QVBoxLayout;

namespace quarrydex {

class HintLabel;
class Model;
class SourceCard;

class SourceEditor : public QWidget {
    Q_OBJECT

  public:
    /// How drives show that the user has not decided about.
    enum class Undecided : std::uint8_t {
        proposed, ///< with what is proposed for them
        left,     ///< not indexed, as they are; and cards follow the settings
    };

    SourceEditor(Model& model,
                 Prefs& prefs,
                 const WindowSeams& seams,
                 Undecided undecided,
                 QWidget* parent = nullptr);

    /// What the cards say, by drive.
    [[nodiscard]] Prefs::Sources chosen() const;

    /// No card is there yet.
    [[nodiscard]] bool isBusy() const { return finder_.drives().empty() && finder_.isLooking(); }

    /// Asks the drives again.
    void reload();

  Q_SIGNALS:
    /// The user changed a card.
    void changed(const QString& identity);

    /// The cards were brought up to date.
    void found();

  protected:
    void changeEvent(QEvent* event) override;

  private:
    void showDrives();
    void addAwayDrives(std::vector<FoundDrive>& away) const;
    SourceCard* cardOf(const FoundDrive& drive, bool isAway);
    [[nodiscard]] SourceConfig configOf(const FoundDrive& drive) const;
    void describe(SourceCard& card) const;
    void retranslate();

    Model& model_;
    Prefs& prefs_;
    const WindowSeams seams_;
    const Undecided undecided_;
    CandidateFinder finder_;
    std::vector<SourceCard*> cards_; ///< in the order shown
    QVBoxLayout* column_;
    HintLabel* busy_;
    std::unique_ptr<Subscription> prefsWatch_;
};

} // namespace quarrydex
