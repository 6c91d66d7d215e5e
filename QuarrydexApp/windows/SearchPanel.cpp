#include "QuarrydexApp/windows/SearchPanel.h"

#include "QuarrydexApp/look/Appearance.h"
#include "QuarrydexApp/look/Symbols.h"
#include "QuarrydexApp/look/Text.h"
#include "QuarrydexApp/model/Model.h"
#include "QuarrydexApp/model/StatusText.h"
#include "QuarrydexApp/prefs/Prefs.h"
#include "QuarrydexApp/windows/Chip.h"
#include "QuarrydexApp/windows/FlowLayout.h"
#include "QuarrydexApp/windows/QuickLook.h"
#include "QuarrydexApp/windows/StatusLine.h"
#include "QuarrydexCore/base/AppInfo.h"
#include "QuarrydexCore/text/tr.h"

#include <QAction>
#include <QEvent>
#include <QFrame>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QMenu>
#include <QPushButton>
#include <QStackedWidget>
#include <QToolButton>
#include <QVBoxLayout>

#include <algorithm>
#include <utility>

namespace quarrydex {

namespace {

/// Typing rests this long before words are tried one by one.
constexpr int adviceDelayMs = 350;

constexpr std::size_t maxAdvice = 3;

const char* const exampleQuery = "bpm:120..128 ext:mp3";

} // namespace

SearchPanel::SearchPanel(const ResultsTable::Services& services, QWidget* parent)
    : QWidget(parent), services_(services), advice_(services.model), field_(new QLineEdit(this)),
      menuButton_(new QToolButton(this)), error_(new QLabel(this)), chips_(nullptr),
      divider_(new QFrame(this)), newDrives_(new QWidget(this)), views_(new QStackedWidget(this)),
      table_(new ResultsTable(services)), empty_(new EmptyState),
      status_(new StatusLine(services.model, this)) {
    adviceTimer_.setSingleShot(true);
    adviceTimer_.setInterval(adviceDelayMs);
    layOut();
    connectModel();
    remakeCategoryChips();
    refreshVolumeChips();
    refreshNewDrives();
    retranslate();
    chooseView();
    table_->setCategory(category_);
    prefsWatch_ = services_.prefs.observe([this](std::string_view key) { settingChanged(key); });
}

SearchPanel::~SearchPanel() = default;

// --- Building -----------------------------------------------------------------------------------

void SearchPanel::layOut() {
    const int unit = fontMetrics().height();
    QFont large = field_->font();
    large.setPointSizeF(large.pointSizeF() * 1.35);
    field_->setFont(large);
    field_->setClearButtonEnabled(true);
    field_->addAction(symbolIcon("magnifyingglass"), QLineEdit::LeadingPosition);
    field_->setMinimumHeight(unit * 9 / 4);
    field_->installEventFilter(this);
    menuButton_->setIcon(symbolIcon("gearshape"));
    menuButton_->setAutoRaise(true);
    menuButton_->setPopupMode(QToolButton::InstantPopup);
    error_->setTextFormat(Qt::PlainText);
    error_->setWordWrap(true);
    error_->hide();
    divider_->setFrameShape(QFrame::VLine);
    divider_->setEnabled(false);
    divider_->setFixedHeight(unit * 5 / 4);
    divider_->hide(); // until there are drives
    newDrives_->setLayout(new QVBoxLayout);
    newDrives_->layout()->setContentsMargins(0, 0, 0, 0);

    auto* top = new QHBoxLayout;
    top->setSpacing(unit / 3);
    top->addWidget(field_, 1);
    top->addWidget(menuButton_);
    chips_ = new FlowLayout(unit / 3);
    auto* head = new QVBoxLayout;
    head->setContentsMargins(unit * 3 / 4, unit * 3 / 4, unit * 3 / 4, unit / 2);
    head->setSpacing(unit / 2);
    head->addLayout(top);
    head->addWidget(error_);
    head->addLayout(chips_);
    head->addWidget(newDrives_);

    views_->addWidget(table_);
    views_->addWidget(empty_);
    table_->setFrameShape(QFrame::NoFrame);
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(0);
    layout->addLayout(head);
    layout->addWidget(views_, 1);
    layout->addWidget(status_);
    resize(unit * 72, unit * 42);
}

void SearchPanel::connectModel() {
    Model& model = services_.model;
    connect(field_, &QLineEdit::textChanged, this, &SearchPanel::queryTyped);
    connect(&model, &Model::resultsChanged, this, &SearchPanel::resultsArrived);
    connect(&model, &Model::queryErrorChanged, this, &SearchPanel::showQueryError);
    connect(&model, &Model::sortingChanged, this, &SearchPanel::refreshStatus);
    connect(&model, &Model::newDrivesChanged, this, &SearchPanel::refreshNewDrives);
    connect(&model, &Model::volumesChanged, this, [this] {
        refreshVolumeChips();
        refreshStatus();
        chooseView();
    });
    connect(table_, &ResultsTable::selectionSummaryChanged, this, [this] {
        refreshStatus();
        followSelection();
    });
    connect(table_, &ResultsTable::typed, this, &SearchPanel::typeInField);
    connect(table_, &ResultsTable::quickLookRequested, this, &SearchPanel::toggleQuickLook);
    connect(status_, &StatusLine::noticeClicked, this, &SearchPanel::accessWindowRequested);
    connect(&adviceTimer_, &QTimer::timeout, &advice_, &HitAdvice::ask);
    connect(&advice_, &HitAdvice::advised, this, &SearchPanel::offerAdvice);
}

void SearchPanel::setMainMenu(QMenu* menu) {
    menuButton_->setMenu(menu);
    addActions(menu->actions()); // for their keys
}

void SearchPanel::retranslate() {
    setWindowTitle(QString::fromUtf8(appName));
    field_->setPlaceholderText(qt(quarrydex::tr("Search files — e.g. remix ext:flac size:>10mb")));
    field_->setAccessibleName(qt(quarrydex::tr("Search")));
    menuButton_->setToolTip(qt(quarrydex::tr("Menu")));
    menuButton_->setAccessibleName(menuButton_->toolTip());
    table_->setAccessibleName(qt(quarrydex::tr("Results")));
    QPalette palette = this->palette();
    palette.setColor(QPalette::WindowText, tints().error);
    error_->setPalette(palette);
    showQueryError();
    refreshStatus();
}

void SearchPanel::changeEvent(QEvent* event) {
    QWidget::changeEvent(event);
    if (event->type() == QEvent::LanguageChange) {
        remakeCategoryChips();
        refreshVolumeChips();
        refreshNewDrives();
        chooseView();
    }
    if (event->type() == QEvent::LanguageChange || event->type() == QEvent::PaletteChange)
        retranslate();
}

void SearchPanel::settingChanged(std::string_view key) {
    if (key == Prefs::Key::categories)
        remakeCategoryChips();
    else if (key == Prefs::Key::showJunk)
        services_.model.setShowJunk(services_.prefs.showJunk());
}

// --- Chips --------------------------------------------------------------------------------------

void SearchPanel::remakeCategoryChips() {
    for (const CategoryChip& old : std::exchange(categoryChips_, {}))
        removeChip(*old.chip);
    const auto add = [this](const std::string& id, const std::string& name,
                            const std::string& symbol) {
        auto* chip = new Chip(qt(name), symbol, this);
        chip->setAccessibleName(qt(name));
        chip->setChecked(id == category_);
        if (const auto place = static_cast<int>(categoryChips_.size()); place < 10)
            chip->setShortcut(QKeySequence(Qt::ALT | static_cast<Qt::Key>(Qt::Key_0 + place)));
        connect(chip, &Chip::clicked, this, [this, id] { chooseCategory(id); });
        chips_->addWidget(chip);
        categoryChips_.push_back({id, chip});
    };
    add("", quarrydex::tr("All"), "square.grid");
    const std::string foldersId(Category::foldersId);
    add(foldersId,
        Category{.id = foldersId, .name = "", .symbol = "", .patterns = ""}.displayName(),
        "folder");
    for (const Category& category : services_.prefs.categories())
        if (category.id != foldersId)
            add(category.id, category.displayName(), category.symbol);
    // Drives stand behind the categories.
    removeVolumeChips();
    refreshVolumeChips();
}

void SearchPanel::chooseCategory(const std::string& id) {
    std::optional<Term> filter;
    category_.clear();
    if (id == Category::foldersId) {
        category_ = id;
        filter = Category{.id = id, .name = "", .symbol = "", .patterns = ""}.term();
    }
    for (const Category& category : services_.prefs.categories())
        if (!id.empty() && category.id == id) {
            category_ = id;
            filter = category.term();
        }
    for (const CategoryChip& each : categoryChips_)
        each.chip->setChecked(each.id == category_);
    table_->setCategory(category_);
    services_.model.setFilter(std::move(filter));
}

void SearchPanel::removeVolumeChips() {
    for (const VolumeChip& old : std::exchange(volumeChips_, {}))
        removeChip(*old.chip);
}

void SearchPanel::removeChip(Chip& chip) {
    chips_->removeWidget(&chip);
    chip.hide();
    chip.deleteLater(); // it may be the one that was clicked
}

void SearchPanel::refreshVolumeChips() {
    const auto& volumes = services_.model.volumes();
    const bool same = std::ranges::equal(
        volumeChips_, volumes, [](const auto& a, const auto& b) { return a.volume.lock() == b; });
    if (!same) {
        removeVolumeChips();
        chips_->removeWidget(divider_);
        chips_->addWidget(divider_);
        divider_->setVisible(!volumes.empty());
        for (const auto& volume : volumes)
            addVolumeChip(volume);
    }
    for (const VolumeChip& each : volumeChips_) {
        const auto volume = each.volume.lock();
        each.chip->setText(shown(volume->name));
        each.chip->setChecked(!volume->hidden);
        each.chip->setDimmed(volume->offline);
        each.chip->setBusy(volume->scanning || volume->updating);
        QString tip =
            qt(quarrydex::tr("Click: show or hide this drive in the results (it stays indexed)"));
        const std::string sentence = statusSentence(*volume);
        if (!sentence.empty())
            tip = qt(sentence) + QLatin1Char('\n') + tip;
        each.chip->setToolTip(tip);
        each.chip->setAccessibleName(shown(volume->name));
        each.chip->setAccessibleDescription(tip);
    }
}

void SearchPanel::addVolumeChip(const std::shared_ptr<VolumeState>& volume) {
    auto* chip =
        new Chip(shown(volume->name), volume->isInternal ? "internaldrive" : "externaldrive", this);
    connect(chip, &Chip::clicked, this, [this, weak = std::weak_ptr(volume)](bool checked) {
        if (const auto held = weak.lock()) {
            services_.prefs.setHidden(held->id, !checked);
            services_.model.setHidden(*held, !checked);
        }
    });
    chips_->addWidget(chip);
    volumeChips_.push_back({volume, chip});
}

void SearchPanel::refreshNewDrives() {
    QLayout* lines = newDrives_->layout();
    while (QLayoutItem* item = lines->takeAt(0)) {
        item->widget()->hide();
        item->widget()->deleteLater();
        delete item;
    }
    for (const Candidate& drive : services_.model.newDrives()) {
        auto* line = new QWidget(newDrives_);
        auto* row = new QHBoxLayout(line);
        row->setContentsMargins(0, 0, 0, 0);
        auto* text = new QLabel(qt(quarrydex::tr("“{name}” is new here. Make it searchable?",
                                                 {{"name", shown(drive.name).toStdString()}})),
                                line);
        text->setTextFormat(Qt::PlainText);
        auto* index = new QPushButton(qt(quarrydex::tr("Index it")), line);
        auto* ignore = new QPushButton(qt(quarrydex::tr("Ignore it")), line);
        connect(index, &QPushButton::clicked, this,
                [this, drive] { services_.model.indexNewDrive(drive); });
        connect(ignore, &QPushButton::clicked, this,
                [this, drive] { services_.model.ignoreNewDrive(drive); });
        row->addWidget(text, 1);
        row->addWidget(index);
        row->addWidget(ignore);
        lines->addWidget(line);
    }
    newDrives_->setVisible(lines->count() > 0);
}

// --- Searching ----------------------------------------------------------------------------------

void SearchPanel::focusSearch() {
    field_->setFocus(Qt::OtherFocusReason);
    field_->selectAll();
}

void SearchPanel::setQuery(const QString& text) {
    field_->setText(text);
}

void SearchPanel::queryTyped() {
    advice_.withdraw();
    adviceTimer_.stop();
    services_.model.setQuery(field_->text().toStdString());
}

void SearchPanel::showQueryError() {
    const auto& error = services_.model.queryError();
    error_->setVisible(error.has_value());
    if (error)
        error_->setText(qt(quarrydex::tr("Invalid search: ") + *error));
}

void SearchPanel::resultsArrived() {
    chooseView();
    refreshStatus();
}

void SearchPanel::refreshStatus() {
    status_->refresh(table_->selection());
}

// --- Table or empty state -----------------------------------------------------------------------

void SearchPanel::chooseView() {
    const Model& model = services_.model;
    const ResultSet& results = *model.results();
    if (results.total > 0) {
        views_->setCurrentWidget(table_);
        return;
    }
    if (model.volumes().empty() && !model.anyScanning()) {
        showNoSources();
    } else if ((model.searchState().query.empty() && category_.empty()) ||
               (model.queryError() && views_->currentWidget() != table_)) {
        showInvitation();
    } else if (results.generation == model.generation() && results.generation != 0) {
        showNoHits();
    } else {
        return; // what stands there stays until the answer is known
    }
    views_->setCurrentWidget(empty_);
}

void SearchPanel::showNoSources() {
    empty_->show({.symbol = "externaldrive",
                  .title = qt(quarrydex::tr("Nothing selected to search yet")),
                  .choices = {{.text = qt(quarrydex::tr("Choose drives and folders …")),
                               .chosen = [this] { Q_EMIT sourceChooserRequested(); },
                               .isMain = true}}});
}

void SearchPanel::showInvitation() {
    EmptyState::Content content{.symbol = "magnifyingglass",
                                .title = qt(quarrydex::tr("Search")),
                                .choicesTitle = qt(quarrydex::tr("Try for example:"))};
    if (services_.model.anyScanning()) {
        std::uint64_t count = 0;
        for (const auto& volume : services_.model.volumes())
            count += volume->count;
        content.title = qt(quarrydex::trn("{number} entry so far", "{number} entries so far", count,
                                          {{"number", grouped(count).toStdString()}}));
        content.text = qt(quarrydex::tr("Searching already works on what is there."));
    }
    content.choices.push_back({.text = QString::fromUtf8(exampleQuery), .chosen = [this] {
                                   setQuery(QString::fromUtf8(exampleQuery));
                                   focusSearch();
                               }});
    empty_->show(std::move(content));
}

EmptyState::Content SearchPanel::noHits() const {
    const bool scanning = services_.model.anyScanning();
    return {.symbol = "magnifyingglass",
            .title = qt(scanning ? quarrydex::tr("Nothing found so far")
                                 : quarrydex::tr("Nothing found")),
            .text = scanning ? qt(quarrydex::tr("Drives are still being scanned.")) : QString()};
}

void SearchPanel::showNoHits() {
    EmptyState::Content content = noHits();
    const auto& volumes = services_.model.volumes();
    if (std::ranges::any_of(volumes, [](const auto& volume) { return volume->hidden; }))
        content.choices.push_back(
            {.text = qt(quarrydex::tr("Search the hidden drives too")), .chosen = [this] {
                 services_.prefs.setHiddenVolumes({});
                 services_.model.showAllVolumes();
             }});
    empty_->show(std::move(content));
    adviceTimer_.start();
}

void SearchPanel::offerAdvice(const std::vector<HitAdvice::Without>& advice) {
    EmptyState::Content content = noHits();
    for (const HitAdvice::Without& each : advice) {
        if (content.choices.size() == maxAdvice)
            break;
        const std::string number = grouped(each.hits).toStdString();
        const std::string text =
            each.word.empty()
                ? quarrydex::trn("In all files: {number} hit", "In all files: {number} hits",
                                 each.hits, {{"number", number}})
                : quarrydex::trn("Without “{word}”: {number} hit",
                                 "Without “{word}”: {number} hits", each.hits,
                                 {{"word", shown(each.word).toStdString()}, {"number", number}});
        content.choices.push_back({.text = qt(text), .chosen = [this, each] {
                                       if (each.word.empty())
                                           chooseCategory("");
                                       else
                                           setQuery(qt(each.query));
                                       focusSearch();
                                   }});
    }
    empty_->show(std::move(content));
}

} // namespace quarrydex
