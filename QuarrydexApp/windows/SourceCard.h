/// What is indexed of one drive: its choices on a card.
/// Threads: the main thread. Fails: never.
#pragma once

#include "QuarrydexApp/prefs/SourceConfig.h"
#include "QuarrydexApp/windows/CandidateFinder.h"
#include "QuarrydexApp/windows/FolderPicker.h"

#include <QFrame>

#include <cstdint>
#include <optional>
#include <string>

class QButtonGroup;
class QLabel;
class QRadioButton;
class QVBoxLayout;

namespace quarrydex {

class FolderList;
class HintLabel;

class SourceCard : public QFrame {
    Q_OBJECT

  public:
    /// `isAway`: not connected, so that folders can only be taken off its list.
    SourceCard(FoundDrive found,
               bool isAway,
               const Platform& platform,
               FolderPicker picker,
               QWidget* parent = nullptr);

    [[nodiscard]] const FoundDrive& found() const { return found_; }

    [[nodiscard]] const std::string& identity() const { return found_.drive.identity; }

    [[nodiscard]] bool isAway() const { return isAway_; }

    /// The line below the name; the root unless it is set.
    void setDetail(const QString& detail);

    void setConfig(const SourceConfig& config);
    [[nodiscard]] SourceConfig config() const;

  Q_SIGNALS:
    /// By the user.
    void changed();

  protected:
    void changeEvent(QEvent* event) override;

  private:
    enum class Choice : std::uint8_t { selected, personal, whole, ignored };

    void build(FolderPicker picker, const Platform& platform);
    void addHead(QVBoxLayout& column);
    QRadioButton* addChoice(Choice choice);
    [[nodiscard]] Choice choice() const;
    [[nodiscard]] std::string choiceText(Choice choice) const;
    [[nodiscard]] std::optional<std::string> refusal(const Platform& platform,
                                                     const std::string& path) const;
    void retranslate();
    void showChoice();

    const FoundDrive found_;
    const bool isAway_;
    QLabel* name_;
    HintLabel* detail_;
    QButtonGroup* choices_; ///< ids are Choices
    FolderList* folders_;
    HintLabel* note_;
};

} // namespace quarrydex
