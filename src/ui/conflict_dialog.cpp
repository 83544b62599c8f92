#include "ui/conflict_dialog.h"

#include <QCheckBox>
#include <QFile>
#include <QGridLayout>
#include <QImageReader>
#include <QRadioButton>

#include "presenters/dialog_texts.h"
#include "ui/text.h"
#include "ui/widgets.h"

namespace lumisk {
namespace {

constexpr int kPictureWidth = 240;
constexpr int kPictureHeight = 132;
constexpr int kIconSize = 48;

// On another thread: the file may lie on a slow disk. Nothing for what is no picture after all.
QImage loadPicture(const std::string& path, double ratio) {
  QImageReader reader(QFile::decodeName(QByteArray::fromStdString(path)));
  reader.setAutoTransform(true);
  const QSize most = QSize(kPictureWidth, kPictureHeight) * ratio;
  const QSize size = reader.size();
  if (size.isValid() && (size.width() > most.width() || size.height() > most.height()))
    reader.setScaledSize(size.scaled(most, Qt::KeepAspectRatio));
  QImage image = reader.read();
  image.setDevicePixelRatio(ratio);
  return image;
}

void addFact(QGridLayout* facts, const QString& name, const QString& value, const QString& note = {}) {
  const int row = facts->rowCount();
  facts->addWidget(widgets::label(name, theme::TextStyle::kQuiet), row, 0);
  facts->addWidget(widgets::label(value), row, 1);
  if (!note.isEmpty()) {
    auto* const mark = widgets::label(note, theme::TextStyle::kStrong);
    facts->addWidget(mark, row, 2);
  }
}

QLabel* folderLabel(const std::string& folder) {
  auto* const label = widgets::quiet({});
  const QString text = shownText(folder);
  label->setWordWrap(false);
  label->setText(label->fontMetrics().elidedText(text, Qt::ElideMiddle, kPictureWidth + theme::kHuge));
  label->setToolTip(text);
  label->setAccessibleName(text);
  return label;
}

}  // namespace

ConflictDialog::ConflictDialog(DialogDesk& desk, const DialogItem& item, const Background& background)
    : DialogWindow(desk, item.id),
      forAll_(new QCheckBox(tr_("&Do the same with all conflicts of this job"))),
      sourcePicture_(background),
      targetPicture_(background) {
  const ConflictTexts texts = conflictTexts(item.conflict);
  const DialogTexts common = dialogTexts(item, {});
  setWindowTitle(shownText(common.windowTitle));
  setAccessibleName(shownText(common.heading + ": " + texts.name));
  auto* const sides = new QHBoxLayout;
  sides->setSpacing(theme::kLarge);
  sides->addWidget(makeSide(texts.source, item.conflict.source.path, sourcePicture_), 1);
  sides->addWidget(makeSide(texts.target, item.conflict.target.path, targetPicture_), 1);
  auto* const ok = widgets::button(tr_("OK"), widgets::ButtonKind::kPrimary);
  connect(ok, &QPushButton::clicked, this, [this] { answer(); });
  auto* const buttons = new ButtonRow;
  buttons->addLeft(forAll_);
  buttons->addRight(ok);
  auto* const column = new QVBoxLayout(this);
  column->setContentsMargins(theme::kHuge, theme::kHuge, theme::kHuge, theme::kLarge);
  column->setSpacing(theme::kLarge);
  column->setSizeConstraint(QLayout::SetFixedSize);
  auto* const head = new QVBoxLayout;
  head->setSpacing(theme::kTiny);
  head->addWidget(widgets::heading(shownText(texts.name)));
  head->addWidget(widgets::quiet(tr_("This was changed on both sides since the last run. Which version is to stay?")));
  column->addLayout(head);
  column->addLayout(sides);
  column->addLayout(makeChoices());
  column->addLayout(buttons);
  for (const Choice& each : choices_)
    if (each.button->isChecked()) each.button->setFocus();
}

QWidget* ConflictDialog::makeSide(const ConflictSideTexts& texts, const std::string& path, BackgroundTask& task) {
  auto* const card = new widgets::Card;
  auto* const caption = widgets::label(shownText(texts.caption), theme::TextStyle::kStrong);
  auto* const picture = new ThemePicture(texts.isPicture ? "image" : "file", kIconSize, theme::Tint::kQuiet);
  picture->setFixedSize(kPictureWidth, texts.isPicture ? kPictureHeight : kIconSize);
  picture->setAlignment(Qt::AlignCenter);
  auto* const facts = new QGridLayout;
  facts->setHorizontalSpacing(theme::kMedium);
  facts->setVerticalSpacing(theme::kTiny);
  facts->setColumnStretch(2, 1);
  addFact(facts, tr_("Size"), shownText(texts.size));
  addFact(facts, tr_("Changed"), shownText(texts.modified), shownText(texts.note));
  addFact(facts, tr_("Created"), shownText(texts.created));
  card->content()->addWidget(caption);
  card->content()->addWidget(picture, 0, Qt::AlignHCenter);
  static_cast<QVBoxLayout*>(card->content())->addLayout(facts);
  card->content()->addWidget(folderLabel(texts.folder));
  if (texts.isPicture) {
    task.start([path, picture, ratio = devicePixelRatioF()](const BackgroundTask::Context& context) {
      const QImage image = loadPicture(path, ratio);
      context.tell([image, picture] {
        if (!image.isNull()) picture->setPixmap(QPixmap::fromImage(image));
      });
    });
  }
  return card;
}

// The choice that loses nothing is the one that is made without thinking.
QLayout* ConflictDialog::makeChoices() {
  auto* const grid = new QGridLayout;
  grid->setHorizontalSpacing(theme::kLarge);
  grid->setVerticalSpacing(theme::kTiny);
  grid->setColumnStretch(1, 1);
  for (const ChoiceText& text : choiceTexts()) {
    auto* const button = new QRadioButton(shownText(text.name));
    button->setAccessibleDescription(shownText(text.outcome));
    button->setChecked(text.choice == ConflictChoice::kKeepBoth);
    const int row = grid->rowCount();
    grid->addWidget(button, row, 0);
    grid->addWidget(widgets::label(shownText(text.outcome), theme::TextStyle::kQuiet), row, 1);
    choices_.push_back({text.choice, button});
  }
  return grid;
}

void ConflictDialog::answer() {
  for (const Choice& each : choices_) {
    if (each.button->isChecked()) return desk().answerConflict(id(), {each.choice, forAll_->isChecked()});
  }
}

}  // namespace lumisk
