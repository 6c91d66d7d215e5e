#include "QuarrydexApp/windows/PreviewCard.h"

#include "QuarrydexApp/look/Appearance.h"
#include "QuarrydexApp/look/Symbols.h"

#include <QEvent>
#include <QFormLayout>
#include <QLabel>
#include <QStringList>
#include <QVBoxLayout>

#include <algorithm>

namespace quarrydex {

namespace {

constexpr int signLines = 5; ///< height of the sign, in lines of text
constexpr int coverLines = 11;

QLabel* label(QWidget* parent, Qt::Alignment alignment) {
    auto* made = new QLabel(parent);
    made->setTextFormat(Qt::PlainText);
    made->setWordWrap(true);
    made->setAlignment(alignment);
    return made;
}

void colour(QLabel& label, const QColor& colour) {
    QPalette palette = label.palette();
    palette.setColor(QPalette::WindowText, colour);
    label.setPalette(palette);
}

} // namespace

PreviewCard::PreviewCard(QWidget* parent)
    : QWidget(parent), sign_(label(this, Qt::AlignCenter)), name_(label(this, Qt::AlignCenter)),
      message_(label(this, Qt::AlignCenter)), facts_(new QFormLayout) {
    const int unit = fontMetrics().height();
    QFont large = font();
    large.setPointSizeF(large.pointSizeF() * 1.3);
    large.setBold(true);
    name_->setFont(large);
    message_->setObjectName(QStringLiteral("previewMessage"));
    facts_->setLabelAlignment(Qt::AlignRight | Qt::AlignTop);
    facts_->setFormAlignment(Qt::AlignHCenter | Qt::AlignTop);
    facts_->setFieldGrowthPolicy(QFormLayout::FieldsStayAtSizeHint);
    facts_->setHorizontalSpacing(unit);
    facts_->setVerticalSpacing(unit / 4);
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(unit, unit, unit, unit);
    layout->setSpacing(unit / 2);
    layout->addStretch(2);
    for (QLabel* each : {sign_, name_, message_})
        layout->addWidget(each);
    layout->addSpacing(unit / 2);
    layout->addLayout(facts_);
    layout->addStretch(3);
}

void PreviewCard::show(const Content& content) {
    content_ = content;
    name_->setText(content.name);
    message_->setText(content.message);
    message_->setVisible(!content.message.isEmpty());
    while (facts_->rowCount() != 0)
        facts_->removeRow(0);
    QStringList spoken = {content.name, content.message};
    for (const Fact& fact : content.facts) {
        if (fact.value.isEmpty())
            continue;
        addFact(fact);
        spoken << fact.title + QStringLiteral(": ") + fact.value;
    }
    spoken.removeAll(QString());
    setAccessibleName(spoken.join(QLatin1Char('\n')));
    takeColours();
}

void PreviewCard::changeEvent(QEvent* event) {
    if (event->type() == QEvent::PaletteChange && !content_.name.isEmpty())
        takeColours();
    QWidget::changeEvent(event);
}

void PreviewCard::addFact(const Fact& fact) {
    auto* value = label(this, Qt::AlignLeft | Qt::AlignTop);
    value->setText(fact.value);
    value->setTextInteractionFlags(Qt::TextSelectableByMouse);
    // Long values wrap, short ones stay in one column.
    const int most = fontMetrics().averageCharWidth() * 50;
    value->setMinimumWidth(std::min(most, fontMetrics().horizontalAdvance(fact.value) + 2));
    auto* title = label(this, Qt::AlignRight | Qt::AlignTop);
    title->setText(fact.title);
    title->setWordWrap(false);
    facts_->addRow(title, value);
}

void PreviewCard::takeColours() {
    const QColor quiet = tints().secondaryText;
    const qreal scale = devicePixelRatioF();
    const int unit = fontMetrics().height();
    if (content_.cover.isNull()) {
        sign_->setPixmap(symbolPixmap(content_.symbol, unit * signLines, quiet, scale));
    } else {
        const int side = static_cast<int>(unit * coverLines * scale);
        QPixmap cover = QPixmap::fromImage(
            content_.cover.scaled(side, side, Qt::KeepAspectRatio, Qt::SmoothTransformation));
        cover.setDevicePixelRatio(scale);
        sign_->setPixmap(cover);
    }
    colour(*message_, quiet);
    for (int row = 0; row < facts_->rowCount(); ++row)
        if (auto* title =
                qobject_cast<QLabel*>(facts_->itemAt(row, QFormLayout::LabelRole)->widget()))
            colour(*title, quiet);
}

} // namespace quarrydex
