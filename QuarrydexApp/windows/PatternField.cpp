#include "QuarrydexApp/windows/PatternField.h"

#include "QuarrydexApp/look/Text.h"
#include "QuarrydexApp/windows/HintLabel.h"
#include "QuarrydexApp/windows/PageParts.h"

#include <QLineEdit>
#include <QVBoxLayout>

#include <utility>

namespace quarrydex {

namespace {

ExtPatterns parsed(const QLineEdit& line) {
    return ExtPatterns::parse(line.text().toStdString());
}

} // namespace

PatternField::PatternField(Verdict verdict, QWidget* parent)
    : QWidget(parent), verdict_(std::move(verdict)), line_(new QLineEdit(this)),
      message_(new HintLabel(this)) {
    auto* column = new QVBoxLayout(this);
    column->setContentsMargins({});
    column->addWidget(line_);
    column->addWidget(message_);
    setFocusProxy(line_);
    connect(line_, &QLineEdit::textChanged, this, &PatternField::judge);
    connect(line_, &QLineEdit::editingFinished, this, &PatternField::commit);
}

void PatternField::setPatterns(const std::string& patterns) {
    known_ = ExtPatterns::format(ExtPatterns::parse(patterns).exts);
    const ExtPatterns typed = parsed(*line_);
    if (!typed.rejected.empty() || ExtPatterns::format(typed.exts) != known_)
        line_->setText(qt(known_));
    judge();
}

void PatternField::judge() {
    const ExtPatterns patterns = parsed(*line_);
    const std::string complaint = notUnderstood(patterns);
    if (complaint.empty())
        message_->say(qt(verdict_(patterns)), HintLabel::Tone::quiet);
    else
        message_->say(qt(complaint), HintLabel::Tone::error);
    line_->setAccessibleDescription(message_->text());
}

void PatternField::commit() {
    const ExtPatterns patterns = parsed(*line_);
    std::string formatted = ExtPatterns::format(patterns.exts);
    if (!patterns.rejected.empty() || formatted == known_)
        return;
    known_ = std::move(formatted);
    Q_EMIT entered(qt(known_));
}

} // namespace quarrydex
