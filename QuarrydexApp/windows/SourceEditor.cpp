#include "QuarrydexApp/windows/SourceEditor.h"

#include "QuarrydexApp/look/Text.h"
#include "QuarrydexApp/model/Model.h"
#include "QuarrydexApp/model/StatusText.h"
#include "QuarrydexApp/windows/HintLabel.h"
#include "QuarrydexApp/windows/SourceCard.h"
#include "QuarrydexCore/text/tr.h"

#include <QEvent>
#include <QVBoxLayout>

#include <algorithm>

namespace quarrydex {

SourceEditor::SourceEditor(
    Model& model, Prefs& prefs, const WindowSeams& seams, Undecided undecided, QWidget* parent)
    : QWidget(parent), model_(model), prefs_(prefs), seams_(seams), undecided_(undecided),
      finder_(seams.platform) {
    column_ = new QVBoxLayout(this);
    column_->setContentsMargins({});
    column_->setSpacing(fontMetrics().height() * 2 / 3);
    busy_ = new HintLabel(this);
    column_->addWidget(busy_);
    column_->addStretch();
    retranslate();

    connect(&finder_, &CandidateFinder::found, this, &SourceEditor::showDrives);
    connect(&model_, &Model::volumesChanged, this, &SourceEditor::showDrives);
    prefsWatch_ = prefs_.observe([this](std::string_view key) {
        if (key == Prefs::Key::sources && undecided_ == Undecided::left)
            for (SourceCard* card : cards_)
                if (const SourceConfig config = configOf(card->found()); config != card->config())
                    card->setConfig(config);
    });
    reload();
}

void SourceEditor::reload() {
    finder_.look(prefs_.indexDiskImages());
    busy_->setVisible(isBusy());
}

void SourceEditor::retranslate() {
    busy_->setText(qt(quarrydex::tr("Looking for drives …")));
    for (SourceCard* card : cards_)
        describe(*card);
}

void SourceEditor::changeEvent(QEvent* event) {
    QWidget::changeEvent(event);
    if (event->type() == QEvent::LanguageChange)
        retranslate();
}

/// Drives of the saved catalogues that are not connected.
void SourceEditor::addAwayDrives(std::vector<FoundDrive>& away) const {
    for (const auto& volume : model_.volumes()) {
        const bool isThere = std::ranges::any_of(finder_.drives(), [&](const FoundDrive& found) {
            return found.drive.identity == volume->id;
        });
        if (volume->offline && !isThere)
            away.push_back({.drive = {.identity = volume->id,
                                      .name = volume->name,
                                      .root = volume->root,
                                      .isInternal = false}});
    }
}

/// Brings the cards in line with the drives; those that stay are not touched.
void SourceEditor::showDrives() {
    if (isBusy())
        return;
    std::vector<FoundDrive> away;
    addAwayDrives(away);
    std::vector<SourceCard*> now;
    for (const FoundDrive& drive : finder_.drives())
        now.push_back(cardOf(drive, false));
    for (const FoundDrive& drive : away)
        now.push_back(cardOf(drive, true));

    for (SourceCard* card : cards_)
        if (std::ranges::find(now, card) == now.end()) {
            card->hide();
            card->deleteLater();
        }
    for (std::size_t i = 0; i < now.size(); ++i) {
        column_->insertWidget(static_cast<int>(i) + 1, now[i]); // moves one that is there
        now[i]->show();                                         // the layout would do so later
        describe(*now[i]);
    }
    busy_->hide();
    const bool isNew = now != cards_;
    cards_ = std::move(now);
    if (isNew)
        Q_EMIT found();
}

/// The card that shows the drive already, or a new one.
SourceCard* SourceEditor::cardOf(const FoundDrive& drive, bool isAway) {
    for (SourceCard* card : cards_)
        if (card->found() == drive && card->isAway() == isAway)
            return card;
    auto* card = new SourceCard(drive, isAway, seams_.platform, seams_.pickFolder, this);
    card->setConfig(configOf(drive));
    connect(card, &SourceCard::changed, this,
            [this, card] { Q_EMIT changed(qt(card->identity())); });
    return card;
}

SourceConfig SourceEditor::configOf(const FoundDrive& found) const {
    const Prefs::Sources stored = prefs_.sources();
    if (const auto known = stored.find(found.drive.identity); known != stored.end())
        return known->second;
    if (undecided_ == Undecided::left)
        return {.enabled = false, .whole = true, .folders = {}};
    if (found.drive.isInternal)
        return {.enabled = true, .whole = false, .folders = found.personalFolders};
    return {};
}

void SourceEditor::describe(SourceCard& card) const {
    if (!card.isAway())
        return;
    for (const auto& volume : model_.volumes())
        if (volume->id == card.identity())
            card.setDetail(qt(offlineSummary(*volume)));
}

Prefs::Sources SourceEditor::chosen() const {
    Prefs::Sources out;
    for (const SourceCard* card : cards_)
        out.emplace(card->identity(), card->config());
    return out;
}

} // namespace quarrydex
