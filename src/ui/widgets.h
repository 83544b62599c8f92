#pragma once

#include <QFrame>
#include <QLabel>
#include <QPushButton>
#include <QToolButton>
#include <string>

#include "ui/theme.h"

class QBoxLayout;

namespace lumisk::widgets {

// The parts that every window is made of. What is returned belongs to the parent or layout that it is given to.

[[nodiscard]] QLabel* label(const QString& text, theme::TextStyle style = theme::TextStyle::kBody);
[[nodiscard]] QLabel* heading(const QString& text);  // of a window or a section
[[nodiscard]] QLabel* quiet(const QString& text);    // explains, may wrap
// A field's name above it, joined for the keyboard (a "&" gives the mnemonic) and for screen readers.
[[nodiscard]] QLabel* fieldLabel(const QString& text, QWidget* field);

enum class ButtonKind { kPlain, kPrimary, kDangerous, kFlat };
[[nodiscard]] QPushButton* button(const QString& text, ButtonKind kind = ButtonKind::kPlain,
                                  const std::string& iconName = {});
// An icon alone; the text is its name for screen readers and its tool tip.
[[nodiscard]] QToolButton* iconButton(const std::string& iconName, const QString& text);
void relabel(QToolButton& iconButton, const std::string& iconName, const QString& text);

// A quiet box with rounded corners around a group; fill its layout, which is vertical and has the grid's margins.
class Card : public QFrame {
 public:
  explicit Card(QWidget* parent = nullptr);
  [[nodiscard]] QBoxLayout* content() const { return content_; }

 private:
  QBoxLayout* content_;
};

// What is wrong with the field above it, or worth knowing; takes no room while it has no text.
class InlineMessage : public QFrame {
 public:
  enum class Kind { kError, kWarning, kHint };
  explicit InlineMessage(QWidget* parent = nullptr);
  void show(Kind kind, const QString& text);
  void clear();
  [[nodiscard]] QString text() const { return text_->text(); }

 private:
  QLabel* icon_;
  QLabel* text_;
};

// A large icon, a heading, a sentence and what to do next, in the middle of an empty window.
class EmptyState : public QWidget {
 public:
  EmptyState(const std::string& iconName, const QString& heading, const QString& sentence, QWidget* parent = nullptr);
  void addButton(QPushButton* button);

 private:
  QBoxLayout* buttons_;
};

// A line of the theme's colour.
[[nodiscard]] QFrame* separator();

}  // namespace lumisk::widgets
