#include "ui/widgets.h"

#include <QApplication>
#include <QHBoxLayout>
#include <QPointer>
#include <QStyle>
#include <QVBoxLayout>

namespace lumisk::widgets {
namespace {

constexpr int kEmptyStateIcon = 56;
constexpr int kEmptyStateWidth = 420;

// A picture of the theme that follows a change of the theme.
class Picture : public QLabel {
 public:
  Picture(std::string name, int size, theme::Tint tint) : name_(std::move(name)), size_(size), tint_(tint) {
    setFixedSize(size, size);
    redraw();
  }
  void change(const std::string& name, theme::Tint tint) {
    name_ = name;
    tint_ = tint;
    redraw();
  }

 protected:
  void changeEvent(QEvent* event) override {
    if (event->type() == QEvent::PaletteChange) redraw();
    QLabel::changeEvent(event);
  }

 private:
  void redraw() { setPixmap(theme::pixmap(name_, size_, tint_, devicePixelRatioF())); }

  std::string name_;
  int size_;
  theme::Tint tint_;
};

const char* nameOf(ButtonKind kind) {
  switch (kind) {
    case ButtonKind::kPrimary:
      return "primary";
    case ButtonKind::kDangerous:
      return "dangerous";
    case ButtonKind::kFlat:
      return "flat";
    case ButtonKind::kPlain:
      break;
  }
  return "plain";
}

theme::Tint tintOf(ButtonKind kind) {
  switch (kind) {
    case ButtonKind::kPrimary:
      return theme::Tint::kOnAccent;
    case ButtonKind::kDangerous:
      return theme::Tint::kError;
    case ButtonKind::kFlat:
      return theme::Tint::kAccent;
    case ButtonKind::kPlain:
      break;
  }
  return theme::Tint::kText;
}

}  // namespace

QLabel* label(const QString& text, theme::TextStyle style) {
  const bool isQuiet = style == theme::TextStyle::kQuiet || style == theme::TextStyle::kCaption;
  auto* const made = new QLabel(text);
  made->setProperty("isQuiet", isQuiet);
  made->setFont(theme::font(style));
  made->setTextFormat(Qt::PlainText);
  return made;
}

QLabel* heading(const QString& text) {
  return label(text, theme::TextStyle::kHeading);
}

QLabel* quiet(const QString& text) {
  auto* const made = label(text, theme::TextStyle::kQuiet);
  made->setWordWrap(true);
  return made;
}

QLabel* fieldLabel(const QString& text, QWidget* field) {
  auto* const made = label(text, theme::TextStyle::kStrong);
  made->setBuddy(field);
  field->setAccessibleName(QString(text).remove(QLatin1Char('&')));
  return made;
}

QPushButton* button(const QString& text, ButtonKind kind, const std::string& iconName) {
  auto* const made = new QPushButton(text);
  made->setProperty("kind", QLatin1String(nameOf(kind)));
  made->setAutoDefault(false);
  made->setDefault(kind == ButtonKind::kPrimary);
  if (!iconName.empty()) {
    made->setIcon(theme::icon(iconName, tintOf(kind)));
    made->setIconSize({theme::kIconSize, theme::kIconSize});
  }
  return made;
}

QToolButton* iconButton(const std::string& iconName, const QString& text) {
  auto* const made = new QToolButton;
  made->setObjectName(QStringLiteral("iconButton"));
  made->setIconSize({theme::kIconSize, theme::kIconSize});
  made->setFocusPolicy(Qt::TabFocus);
  relabel(*made, iconName, text);
  return made;
}

void relabel(QToolButton& iconButton, const std::string& iconName, const QString& text) {
  iconButton.setIcon(theme::icon(iconName));
  iconButton.setToolTip(text);
  iconButton.setAccessibleName(text);
}

Card::Card(QWidget* parent) : QFrame(parent), content_(new QVBoxLayout(this)) {
  setObjectName(QStringLiteral("card"));
  content_->setContentsMargins(theme::kLarge, theme::kLarge, theme::kLarge, theme::kLarge);
  content_->setSpacing(theme::kMedium);
}

InlineMessage::InlineMessage(QWidget* parent)
    : QFrame(parent), icon_(new Picture("error", theme::kLarge, theme::Tint::kError)), text_(new QLabel) {
  auto* const row = new QHBoxLayout(this);
  row->setContentsMargins(theme::kSmall, theme::kSmall, theme::kSmall, theme::kSmall);
  row->setSpacing(theme::kSmall);
  row->addWidget(icon_, 0, Qt::AlignTop);
  row->addWidget(text_, 1);
  text_->setWordWrap(true);
  text_->setTextFormat(Qt::PlainText);
  hide();
}

void InlineMessage::show(Kind kind, const QString& text) {
  static constexpr const char* kNames[] = {"messageError", "messageWarning", "messageHint"};
  static constexpr const char* kIcons[] = {"error", "warning", "info"};
  static constexpr theme::Tint kTints[] = {theme::Tint::kError, theme::Tint::kWarning, theme::Tint::kQuiet};
  const auto index = static_cast<std::size_t>(kind);
  setObjectName(QLatin1String(kNames[index]));
  static_cast<Picture*>(icon_)->change(kIcons[index], kTints[index]);
  // The name has changed: the sheet is looked at again.
  style()->unpolish(this);
  style()->polish(this);
  text_->setText(text);
  setAccessibleName(text);
  setVisible(true);
}

void InlineMessage::clear() {
  text_->clear();
  setAccessibleName({});
  hide();
}

EmptyState::EmptyState(const std::string& iconName, const QString& heading, const QString& sentence, QWidget* parent)
    : QWidget(parent), buttons_(new QHBoxLayout) {
  auto* const column = new QVBoxLayout(this);
  column->setSpacing(theme::kMedium);
  column->addStretch(2);
  column->addWidget(new Picture(iconName, kEmptyStateIcon, theme::Tint::kQuiet), 0, Qt::AlignHCenter);
  column->addSpacing(theme::kSmall);
  auto* const title = label(heading, theme::TextStyle::kTitle);
  column->addWidget(title, 0, Qt::AlignHCenter);
  auto* const text = quiet(sentence);
  text->setAlignment(Qt::AlignHCenter);
  text->setFixedWidth(kEmptyStateWidth);
  text->setMinimumHeight(text->heightForWidth(kEmptyStateWidth));
  column->addWidget(text, 0, Qt::AlignHCenter);
  column->addSpacing(theme::kMedium);
  buttons_->setSpacing(theme::kSmall);
  buttons_->addStretch();
  buttons_->addStretch();
  column->addLayout(buttons_);
  column->addStretch(3);
}

void EmptyState::addButton(QPushButton* button) {
  buttons_->insertWidget(buttons_->count() - 1, button);
}

QFrame* separator() {
  auto* const line = new QFrame;
  line->setObjectName(QStringLiteral("separator"));
  line->setFixedHeight(1);
  return line;
}

}  // namespace lumisk::widgets
