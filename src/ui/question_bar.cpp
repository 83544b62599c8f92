#include "ui/question_bar.h"

#include <QHBoxLayout>
#include <QVBoxLayout>

namespace lumisk {

QuestionBar::QuestionBar(QWidget* parent) : QFrame(parent), text_(widgets::quiet({})), buttons_(new QHBoxLayout) {
  auto* const column = new QVBoxLayout(this);
  column->setContentsMargins(0, 0, 0, 0);
  column->setSpacing(0);
  column->addWidget(widgets::separator());
  auto* const row = new QHBoxLayout;
  row->setContentsMargins(theme::kHuge, theme::kMedium, theme::kHuge, theme::kMedium);
  row->setSpacing(theme::kLarge);
  row->addWidget(text_, 1);
  buttons_->setSpacing(theme::kSmall);
  row->addLayout(buttons_);
  column->addLayout(row);
}

// The old buttons may be asking for this themselves.
void QuestionBar::ask(const QString& text, const std::vector<Answer>& answers) {
  while (QLayoutItem* const item = buttons_->takeAt(0)) {
    item->widget()->hide();
    item->widget()->setObjectName({});
    item->widget()->deleteLater();
    delete item;
  }
  for (const Answer& answer : answers) {
    auto* const made = widgets::button(answer.text, answer.kind);
    made->setObjectName(QLatin1String(answer.objectName));
    connect(made, &QPushButton::clicked, this, answer.chosen);
    buttons_->addWidget(made);
  }
  setText(text);
}

void QuestionBar::setText(const QString& text) {
  text_->setText(text);
}

QString QuestionBar::text() const {
  return text_->text();
}

QPushButton* QuestionBar::button(const char* objectName) const {
  return findChild<QPushButton*>(QLatin1String(objectName));
}

}  // namespace lumisk
