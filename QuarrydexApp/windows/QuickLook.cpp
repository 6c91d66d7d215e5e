#include "QuarrydexApp/windows/QuickLook.h"

#include "QuarrydexApp/look/Text.h"
#include "QuarrydexApp/table/CellText.h"
#include "QuarrydexApp/table/Columns.h"
#include "QuarrydexApp/table/Kinds.h"
#include "QuarrydexApp/windows/HintLabel.h"
#include "QuarrydexApp/windows/PreviewPicture.h"
#include "QuarrydexCore/base/EntryFlags.h"
#include "QuarrydexCore/platform/SettingsStore.h"
#include "QuarrydexCore/text/Characters.h"
#include "QuarrydexCore/text/tr.h"

#include <QFontDatabase>
#include <QHBoxLayout>
#include <QKeyEvent>
#include <QLabel>
#include <QPlainTextEdit>
#include <QStackedWidget>
#include <QVBoxLayout>

#include <algorithm>
#include <chrono>
#include <utility>

#include <nlohmann/json.hpp>

namespace quarrydex {

namespace {

using namespace std::chrono_literals;

constexpr auto patience = 150ms;
constexpr auto settling = 200ms;
constexpr QSize usualSize{720, 560};
constexpr QSize smallestSize{320, 240};
constexpr int largestSide = 10'000;

QSize storedSize(const SettingsStore& settings) {
    const nlohmann::json stored = settings.value(QuickLook::sizeKey);
    if (!stored.is_array() || stored.size() != 2 || !stored[0].is_number_integer() ||
        !stored[1].is_number_integer())
        return usualSize;
    const auto side = [](const nlohmann::json& value) {
        return static_cast<int>(
            std::clamp<std::int64_t>(value.get<std::int64_t>(), 0, largestSide));
    };
    return QSize(side(stored[0]), side(stored[1])).expandedTo(smallestSize);
}

/// In lower case, without the dot; empty for none and for names like ".profile".
std::string extensionOf(const std::string& name) {
    const std::size_t dot = name.rfind('.');
    return dot == std::string::npos || dot == 0 ? "" : lowerCased(name.substr(dot + 1));
}

FileKind kindOfFile(const QuickLook::File& file) {
    return kindOf(file.isFolder ? EntryFlags::dir : std::uint8_t{0}, extensionOf(file.name));
}

PreviewCard::Fact fact(Column column, const QString& value) {
    return {qt(ColumnDef::of(column).shownTitle()), value};
}

/// What the catalogue knows, else what the file said.
template <typename A, typename B> std::uint32_t known(A catalogue, B fromFile) {
    return catalogue != 0 ? catalogue : fromFile;
}

} // namespace

QuickLook::QuickLook(FileMetaSource& source, SettingsStore& settings, QWidget* parent)
    : QWidget(parent, Qt::Window), source_(source), settings_(settings), name_(new QLabel(this)),
      position_(new HintLabel(this)), views_(new QStackedWidget(this)), nothing_(new QWidget(this)),
      picture_(new PreviewPicture(this)), text_(new QPlainTextEdit(this)),
      card_(new PreviewCard(this)), summary_(new HintLabel(this)) {
    layOut();
    setMinimumSize(smallestSize);
    resize(storedSize(settings_));
    for (QTimer* timer : {&patience_, &settled_})
        timer->setSingleShot(true);
    connect(&patience_, &QTimer::timeout, this, &QuickLook::present);
    connect(&settled_, &QTimer::timeout, this, &QuickLook::sharpen);
}

QuickLook::~QuickLook() {
    withdraw();
}

void QuickLook::layOut() {
    const int unit = fontMetrics().height();
    QFont bold = font();
    bold.setBold(true);
    name_->setFont(bold);
    name_->setTextFormat(Qt::PlainText);
    // A long name is cut by the window and stands in its title as a whole.
    name_->setSizePolicy(QSizePolicy::Ignored, QSizePolicy::Preferred);
    position_->setWordWrap(false);
    text_->setReadOnly(true);
    text_->setFrameShape(QFrame::NoFrame);
    text_->setFont(QFontDatabase::systemFont(QFontDatabase::FixedFont));
    text_->setTextInteractionFlags(Qt::TextSelectableByMouse | Qt::TextSelectableByKeyboard);
    text_->installEventFilter(this);
    for (QWidget* view : {nothing_, static_cast<QWidget*>(picture_), static_cast<QWidget*>(text_),
                          static_cast<QWidget*>(card_)})
        views_->addWidget(view);

    auto* heading = new QHBoxLayout;
    heading->setContentsMargins(unit, unit / 2, unit, unit / 2);
    heading->addWidget(name_, 1);
    heading->addWidget(position_);
    auto* footing = new QHBoxLayout;
    footing->setContentsMargins(unit, unit / 2, unit, unit / 2);
    footing->addWidget(summary_, 1);
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(0);
    layout->addLayout(heading);
    layout->addWidget(views_, 1);
    layout->addLayout(footing);
}

void QuickLook::show(std::vector<File> files, std::size_t current) {
    if (files.empty()) {
        close();
        return;
    }
    files_ = std::move(files);
    current_ = std::min(current, files_.size() - 1);
    QWidget::show();
    begin();
    raise();
    activateWindow();
}

// --- One file ------------------------------------------------------------------------------------

void QuickLook::begin() {
    withdraw();
    found_ = {};
    isAnswered_ = false;
    patience_.start(patience);
    ask();
    present();
}

void QuickLook::ask() {
    const auto taken = [this](const FilePreview& found) {
        ticket_ = 0;
        found_ = found;
        isAnswered_ = true;
        present();
    };
    ticket_ = source_.preview(file().path, pictureLimit(), taken);
}

void QuickLook::withdraw() {
    patience_.stop();
    settled_.stop();
    if (ticket_ != 0)
        source_.withdraw(std::exchange(ticket_, 0));
}

void QuickLook::present() {
    if (isAnswered_)
        patience_.stop();
    const QString name = shown(file().name);
    setWindowTitle(name);
    name_->setText(name);
    position_->setVisible(files_.size() > 1);
    position_->setText(qt(
        quarrydex::tr("{number} of {count}", {{"number", grouped(current_ + 1).toStdString()},
                                              {"count", grouped(files_.size()).toStdString()}})));
    if (file().isFolder || hasSound()) {
        presentCard({});
    } else if (!isAnswered_) {
        if (patience_.isActive())
            views_->setCurrentWidget(nothing_);
        else
            presentCard(qt(quarrydex::tr("Loading …")));
    } else if (!found_.picture.isNull()) {
        picture_->setPicture(found_.picture);
        views_->setCurrentWidget(picture_);
    } else if (!found_.text.isEmpty()) {
        if (text_->toPlainText() != found_.text)
            text_->setPlainText(found_.text);
        views_->setCurrentWidget(text_);
    } else {
        presentCard(qt(quarrydex::tr("No preview")));
    }
    const bool isCard = views_->currentWidget() == card_;
    summary_->setText(isCard ? QString() : summary());
    const QString spoken = qt(quarrydex::tr("Preview of {name}", {{"name", name.toStdString()}}));
    picture_->setAccessibleName(spoken);
    picture_->setAccessibleDescription(summary_->text());
    text_->setAccessibleName(spoken);
    views_->currentWidget()->setFocus();
}

void QuickLook::presentCard(const QString& message) {
    card_->show({.symbol = symbolOf(kindOfFile(file())),
                 .cover = found_.picture,
                 .name = shown(file().name),
                 .message = message,
                 .facts = facts()});
    views_->setCurrentWidget(card_);
}

/// Its picture, if it has one, is that of its cover.
bool QuickLook::hasSound() const {
    return (file().audio && !file().audio->isEmpty()) || found_.meta.durationMs != 0;
}

QSize QuickLook::pictureLimit() const {
    layout()->activate();
    return (QSizeF(views_->size()) * devicePixelRatioF()).toSize();
}

/// The window became larger than the picture that was asked for.
void QuickLook::sharpen() {
    const QSize has = found_.picture.size();
    const QSize limit = pictureLimit();
    const bool isWhole = found_.meta.pages == 0 && std::cmp_equal(has.width(), found_.meta.w) &&
                         std::cmp_equal(has.height(), found_.meta.h);
    if (views_->currentWidget() == picture_ && ticket_ == 0 && !isWhole &&
        has.width() < limit.width() && has.height() < limit.height())
        ask();
}

QString QuickLook::summary() const {
    QStringList parts;
    if (isAnswered_) {
        parts << CellText::dimensions(found_.meta.w, found_.meta.h);
        if (found_.meta.pages != 0)
            parts << qt(quarrydex::trn("{count} page", "{count} pages", found_.meta.pages));
    }
    parts << shortSize(file().size) << CellText::dateAndTime(file().mtime);
    parts.removeAll(QString());
    return parts.join(QStringLiteral(" · "));
}

std::vector<PreviewCard::Fact> QuickLook::facts() const {
    const AudioMeta audio = file().audio.value_or(AudioMeta{});
    const FileMeta& meta = found_.meta;
    const FileKind kind = kindOfFile(file());
    return {
        fact(Column::kind, qt(kindText(kind, extensionOf(file().name), KindStyle::exact))),
        fact(Column::artist, qt(audio.artist)),
        fact(Column::title, qt(audio.title)),
        fact(Column::album, qt(audio.album)),
        fact(Column::genre, qt(audio.genre)),
        fact(Column::year, CellText::number(audio.year)),
        fact(Column::duration, CellText::duration(known(audio.durationMs, meta.durationMs))),
        fact(Column::bitrate,
             CellText::bitrate(known(audio.bitrateKbps, meta.bitrateKbps), audio.vbr)),
        fact(Column::rate, CellText::sampleRate(known(audio.sampleRate, meta.rate))),
        fact(Column::codec, qt(label(audio.codec))),
        fact(Column::bits, CellText::number(audio.bits)),
        fact(Column::channels, CellText::channels(audio.channels)),
        fact(Column::bpm, CellText::tempo(audio.bpm10)),
        fact(Column::key, qt(audio.key)),
        fact(Column::dims, CellText::dimensions(meta.w, meta.h)),
        fact(Column::pages, CellText::number(meta.pages)),
        fact(Column::size, file().isFolder ? QString() : shortSize(file().size)),
        fact(Column::date, CellText::dateAndTime(file().mtime)),
        fact(Column::atime, CellText::dateAndTime(meta.atime.value_or(0))),
    };
}

// --- The window ----------------------------------------------------------------------------------

bool QuickLook::takesKey(const QKeyEvent& event) {
    if ((event.modifiers() & ~Qt::KeypadModifier) != Qt::NoModifier)
        return false;
    switch (event.key()) {
    case Qt::Key_Space:
    case Qt::Key_Escape:
        // The key that opened the window may still be held down.
        if (!event.isAutoRepeat())
            close();
        return true;
    case Qt::Key_Left:
    case Qt::Key_Up:
        step(-1);
        return true;
    case Qt::Key_Right:
    case Qt::Key_Down:
        step(+1);
        return true;
    default:
        return false;
    }
}

void QuickLook::step(int by) {
    if (files_.size() == 1) {
        Q_EMIT stepped(by);
        return;
    }
    const bool isAtEnd = by < 0 ? current_ == 0 : current_ + 1 >= files_.size();
    if (isAtEnd)
        return;
    current_ = by < 0 ? current_ - 1 : current_ + 1;
    begin();
    Q_EMIT currentChanged(current_);
}

bool QuickLook::eventFilter(QObject* watched, QEvent* event) {
    // Before the text moves in itself.
    if (event->type() == QEvent::KeyPress && takesKey(*static_cast<QKeyEvent*>(event)))
        return true;
    return QWidget::eventFilter(watched, event);
}

void QuickLook::keyPressEvent(QKeyEvent* event) {
    if (!takesKey(*event))
        QWidget::keyPressEvent(event);
}

void QuickLook::changeEvent(QEvent* event) {
    if (event->type() == QEvent::LanguageChange && isVisible())
        present();
    QWidget::changeEvent(event);
}

void QuickLook::resizeEvent(QResizeEvent* event) {
    QWidget::resizeEvent(event);
    if (isVisible())
        settled_.start(settling);
}

void QuickLook::hideEvent(QHideEvent* event) {
    QWidget::hideEvent(event);
    // Put away by the desktop, it comes back as it is.
    if (event->spontaneous())
        return;
    withdraw();
    rememberSize();
}

void QuickLook::rememberSize() {
    if (isMaximized() || isFullScreen() || size() == storedSize(settings_))
        return;
    // By value: a store may write later.
    settings_.update(sizeKey, [now = size()](nlohmann::json& value) {
        value = {now.width(), now.height()};
    });
}

} // namespace quarrydex
