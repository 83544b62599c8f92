#include "ui/held_dialog.h"

#include <QListWidget>

#include "presenters/dialog_texts.h"
#include "presenters/locale_text.h"
#include "ui/text.h"

namespace lumisk {
namespace {

constexpr int kPictureSize = 32;

}  // namespace

HeldDialog::HeldDialog(DialogDesk& desk, const DialogItem& item)
    : DialogWindow(desk, item.id),
      heading_(widgets::heading({})),
      body_(widgets::quiet({})),
      paths_(new QListWidget),
      more_(widgets::quiet({})),
      refusal_(new widgets::InlineMessage),
      keep_(widgets::button({}, widgets::ButtonKind::kPrimary)),
      remove_(widgets::button({}, widgets::ButtonKind::kDangerous, "trash")) {
  resize(600, 480);
  heading_->setWordWrap(true);
  paths_->setAccessibleName(tr_("What would be deleted"));
  paths_->setSelectionMode(QAbstractItemView::ExtendedSelection);
  paths_->setTextElideMode(Qt::ElideMiddle);
  paths_->setUniformItemSizes(true);
  auto* const text = new QVBoxLayout;
  text->setSpacing(theme::kTiny);
  text->addWidget(heading_);
  text->addWidget(body_);
  auto* const top = new QHBoxLayout;
  top->setSpacing(theme::kLarge);
  top->addWidget(new ThemePicture("warning", kPictureSize, theme::Tint::kWarning), 0, Qt::AlignTop);
  top->addLayout(text, 1);
  auto* const buttons = new ButtonRow;
  buttons->addLeft(remove_);
  buttons->addRight(keep_);
  auto* const column = new QVBoxLayout(this);
  column->setContentsMargins(theme::kHuge, theme::kHuge, theme::kHuge, theme::kLarge);
  column->setSpacing(theme::kMedium);
  column->addLayout(top);
  column->addWidget(paths_, 1);
  column->addWidget(more_);
  column->addWidget(refusal_);
  column->addLayout(buttons);
  connect(keep_, &QPushButton::clicked, this, [this] { done(QDialog::Rejected); });
  connect(remove_, &QPushButton::clicked, this, [this] { release(); });
  keep_->setFocus();
}

void HeldDialog::update(const DialogItem& item, WallTime now) {
  const DialogTexts texts = dialogTexts(item, now);
  setWindowTitle(shownText(texts.windowTitle));
  heading_->setText(shownText(texts.heading));
  body_->setText(shownText(texts.body));
  keep_->setText(shownText(texts.refuse));
  remove_->setText(shownText(texts.accept));
  paths_->clear();
  for (const std::string& path : item.held.paths) paths_->addItem(shownText(path));
  more_->setText(shownText(heldNote(item.held)));
  refusal_->clear();
  setAccessibleName(heading_->text());
  setAccessibleDescription(body_->text());
}

void HeldDialog::release() {
  const auto refusal = desk().releaseDeletions(id());
  if (refusal) refusal_->show(widgets::InlineMessage::Kind::kError, shownText(*refusal));
}

}  // namespace lumisk
