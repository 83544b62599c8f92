#include "ui/message_dialog.h"

#include "presenters/dialog_texts.h"
#include "ui/text.h"
#include "ui/widgets.h"

namespace lumisk {
namespace {

constexpr int kPictureSize = 32;
constexpr int kTextWidth = 400;

struct Look {
  const char* icon;
  theme::Tint tint;
};

Look lookOf(DialogTone tone) {
  switch (tone) {
    case DialogTone::kGood:
      return {"check-circle", theme::Tint::kGood};
    case DialogTone::kHint:
    case DialogTone::kQuestion:
      return {"info", theme::Tint::kAccent};
    case DialogTone::kWarning:
      break;
  }
  return {"warning", theme::Tint::kWarning};
}

QLabel* wrapped(QLabel* label) {
  label->setWordWrap(true);
  label->setMinimumWidth(kTextWidth);
  label->setTextInteractionFlags(Qt::TextSelectableByMouse);
  return label;
}

void fill(QLabel* label, const QString& text) {
  label->setText(text);
  label->setVisible(!text.isEmpty());
}

QString joined(const std::vector<std::string>& lines) {
  QString text;
  for (const std::string& line : lines) text += (text.isEmpty() ? QString() : QStringLiteral("\n")) + shownText(line);
  return text;
}

}  // namespace

MessageDialog::MessageDialog(DialogDesk& desk, const DialogItem& item, std::function<void()> openLog)
    : DialogWindow(desk, item.id),
      picture_(new ThemePicture("info", kPictureSize, theme::Tint::kAccent)),
      heading_(wrapped(widgets::heading({}))),
      body_(wrapped(widgets::label({}))),
      path_(wrapped(widgets::label({}, theme::TextStyle::kStrong))),
      times_(wrapped(widgets::quiet({}))),
      earlier_(wrapped(widgets::quiet({}))),
      accept_(widgets::button({}, widgets::ButtonKind::kPrimary)),
      refuse_(widgets::button({})) {
  auto* const text = new QVBoxLayout;
  text->setSpacing(theme::kSmall);
  for (QLabel* const label : {heading_, body_, path_, times_, earlier_}) text->addWidget(label);
  auto* const top = new QHBoxLayout;
  top->setSpacing(theme::kLarge);
  top->addWidget(picture_, 0, Qt::AlignTop);
  top->addLayout(text, 1);
  auto* const buttons = new ButtonRow;
  if (openLog && !item.job.empty() && item.kind != DialogKind::kFinish) {
    auto* const log = widgets::button(tr_("Show the &log"), widgets::ButtonKind::kFlat);
    connect(log, &QPushButton::clicked, this, openLog);
    buttons->addLeft(log);
  }
  buttons->addRight(refuse_);
  buttons->addRight(accept_);
  auto* const column = new QVBoxLayout(this);
  column->setContentsMargins(theme::kHuge, theme::kHuge, theme::kHuge, theme::kLarge);
  column->setSpacing(theme::kHuge);
  column->setSizeConstraint(QLayout::SetFixedSize);
  column->addLayout(top);
  column->addLayout(buttons);
  accept_->setFocus();
  connect(accept_, &QPushButton::clicked, this, [this] { this->desk().answer(id(), true); });
  connect(refuse_, &QPushButton::clicked, this, [this] { this->desk().answer(id(), false); });
}

void MessageDialog::update(const DialogItem& item, WallTime now) {
  const DialogTexts texts = dialogTexts(item, now);
  const Look look = lookOf(texts.tone);
  picture_->change(look.icon, look.tint);
  setWindowTitle(shownText(texts.windowTitle));
  fill(heading_, shownText(texts.heading));
  fill(body_, shownText(texts.body));
  fill(path_, shownText(texts.path));
  fill(times_, shownText(texts.times));
  fill(earlier_, joined(texts.earlier));
  accept_->setText(shownText(texts.accept));
  refuse_->setText(shownText(texts.refuse));
  refuse_->setVisible(!texts.refuse.empty());
  setAccessibleName(heading_->text());
  setAccessibleDescription(body_->text());
}

}  // namespace lumisk
