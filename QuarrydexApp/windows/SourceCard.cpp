#include "QuarrydexApp/windows/SourceCard.h"

#include "QuarrydexApp/look/Symbols.h"
#include "QuarrydexApp/look/Text.h"
#include "QuarrydexApp/windows/FolderList.h"
#include "QuarrydexApp/windows/HintLabel.h"
#include "QuarrydexCore/platform/Drives.h"
#include "QuarrydexCore/text/tr.h"

#include <QButtonGroup>
#include <QEvent>
#include <QHBoxLayout>
#include <QLabel>
#include <QRadioButton>
#include <QVBoxLayout>

#include <algorithm>
#include <utility>

namespace quarrydex {

namespace {

/// The same folders in any order.
bool isSameSet(std::vector<std::string> a, std::vector<std::string> b) {
    std::ranges::sort(a);
    std::ranges::sort(b);
    return a == b;
}

} // namespace

SourceCard::SourceCard(
    FoundDrive found, bool isAway, const Platform& platform, FolderPicker picker, QWidget* parent)
    : QFrame(parent), found_(std::move(found)), isAway_(isAway) {
    setFrameShape(QFrame::StyledPanel);
    setAutoFillBackground(true);
    setBackgroundRole(QPalette::Base);
    build(std::move(picker), platform);
    setDetail(shown(found_.drive.root));
    retranslate();
}

void SourceCard::build(FolderPicker picker, const Platform& platform) {
    const int gap = fontMetrics().height();
    auto* column = new QVBoxLayout(this);
    column->setContentsMargins(gap, gap, gap, gap);
    column->setSpacing(gap / 3);
    addHead(*column);

    choices_ = new QButtonGroup(this);
    const auto offered = found_.drive.isInternal
                             ? std::vector{Choice::selected, Choice::personal, Choice::whole}
                             : std::vector{Choice::whole, Choice::selected, Choice::ignored};
    for (const Choice choice : offered)
        column->addWidget(addChoice(choice));

    folders_ = new FolderList(
        std::move(picker), found_.drive.root,
        [this, platform](const std::string& path) { return refusal(platform, path); }, this);
    folders_->setAddingEnabled(!isAway_);
    note_ = new HintLabel(this);
    column->addWidget(folders_);
    column->addWidget(note_);

    connect(choices_, &QButtonGroup::idClicked, this, [this] {
        showChoice();
        Q_EMIT changed();
    });
    connect(folders_, &FolderList::changed, this, [this] {
        showChoice();
        Q_EMIT changed();
    });
}

void SourceCard::addHead(QVBoxLayout& column) {
    const int gap = fontMetrics().height();
    auto* picture = new QLabel(this);
    picture->setPixmap(
        symbolIcon(found_.drive.isInternal ? "internaldrive" : "externaldrive").pixmap(gap * 2));
    name_ = new QLabel(shown(found_.drive.name), this);
    name_->setTextFormat(Qt::PlainText);
    QFont bold = name_->font();
    bold.setBold(true);
    name_->setFont(bold);
    detail_ = new HintLabel(this);

    auto* words = new QVBoxLayout;
    words->setSpacing(0);
    words->addWidget(name_);
    words->addWidget(detail_);
    auto* head = new QHBoxLayout;
    head->setSpacing(gap / 2);
    head->addWidget(picture);
    head->addLayout(words, 1);
    column.addLayout(head);
    column.addSpacing(gap / 3);
}

QRadioButton* SourceCard::addChoice(Choice choice) {
    auto* button = new QRadioButton(this);
    button->setEnabled(choice != Choice::personal || !found_.personalFolders.empty());
    choices_->addButton(button, static_cast<int>(choice));
    return button;
}

std::string SourceCard::choiceText(Choice choice) const {
    switch (choice) {
    case Choice::selected:
        return quarrydex::tr("Selected folders only");
    case Choice::personal:
        return quarrydex::tr("Personal folders (recommended)");
    case Choice::whole:
        return found_.drive.root == "/"
                   ? quarrydex::tr("Entire system disk including system folders")
                   : quarrydex::tr("The whole drive");
    case Choice::ignored:
        return quarrydex::tr("Do not index this drive");
    }
    return {};
}

void SourceCard::retranslate() {
    const QString name = shown(found_.drive.name);
    setAccessibleName(name);
    for (QAbstractButton* button : choices_->buttons()) {
        const auto choice = static_cast<Choice>(choices_->id(button));
        button->setText(qt(choiceText(choice)));
        button->setAccessibleDescription(name);
    }
    folders_->setListName(qt(quarrydex::tr("Folders on {drive}", {{"drive", name.toStdString()}})));
    showChoice();
}

void SourceCard::changeEvent(QEvent* event) {
    QFrame::changeEvent(event);
    if (event->type() == QEvent::LanguageChange)
        retranslate();
}

void SourceCard::setDetail(const QString& detail) {
    detail_->setText(detail);
}

/// Shows the list of folders and what there is to say about them.
void SourceCard::showChoice() {
    const Choice now = choice();
    folders_->setVisible(now == Choice::selected);
    QString note;
    if (now == Choice::selected && folders_->folders().empty())
        note = qt(quarrydex::tr("No folder chosen: this drive is not indexed."));
    if (now == Choice::personal)
        for (const std::string& folder : found_.personalFolders)
            note += (note.isEmpty() ? QString() : QStringLiteral(", ")) +
                    shown(folder.substr(folder.rfind('/') + 1));
    note_->say(note, HintLabel::Tone::quiet);
}

SourceCard::Choice SourceCard::choice() const {
    const int id = choices_->checkedId();
    return id < 0 ? Choice::selected : static_cast<Choice>(id);
}

void SourceCard::setConfig(const SourceConfig& config) {
    Choice now = config.whole ? Choice::whole : Choice::selected;
    if (!config.enabled)
        now = found_.drive.isInternal ? Choice::selected : Choice::ignored;
    else if (!config.whole && choices_->button(static_cast<int>(Choice::personal)) != nullptr &&
             !config.folders.empty() && isSameSet(config.folders, found_.personalFolders))
        now = Choice::personal;
    choices_->button(static_cast<int>(now))->setChecked(true);
    if (now == Choice::selected)
        folders_->setFolders(config.enabled ? config.scopes(found_.drive.root)
                                            : std::vector<std::string>{});
    showChoice();
}

SourceConfig SourceCard::config() const {
    switch (choice()) {
    case Choice::whole:
        return {.enabled = true, .whole = true, .folders = {}};
    case Choice::ignored:
        return {.enabled = false, .whole = true, .folders = {}};
    case Choice::personal:
        return {.enabled = true, .whole = false, .folders = found_.personalFolders};
    case Choice::selected:
        break;
    }
    SourceConfig config{.enabled = true, .whole = false, .folders = {}};
    for (const std::string& folder : folders_->folders())
        if (auto place = SourceConfig::relative(found_.drive.root, folder))
            config.folders.push_back(std::move(*place));
    return config;
}

std::optional<std::string> SourceCard::refusal(const Platform& platform,
                                               const std::string& path) const {
    const std::vector<Mount> mounts = platform.mounts.mounts();
    const Mount* mount = mountOf(mounts, path);
    const bool isOnDrive = SourceConfig::relative(found_.drive.root, path).has_value() &&
                           (mount == nullptr || mount->path == found_.drive.root);
    if (isOnDrive)
        return std::nullopt;
    return quarrydex::tr("“{folder}” does not lie on this drive.",
                         {{"folder", shown(path).toStdString()}});
}

} // namespace quarrydex
