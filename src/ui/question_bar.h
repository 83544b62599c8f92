#pragma once

#include <QFrame>
#include <functional>
#include <vector>

#include "ui/widgets.h"

class QHBoxLayout;
class QLabel;

namespace lumisk {

// The last line of a window: a sentence and what can be done. Questions are asked here instead of in a window on top.
class QuestionBar : public QFrame {
 public:
  struct Answer {
    QString text;
    widgets::ButtonKind kind = widgets::ButtonKind::kPlain;
    std::function<void()> chosen;
    const char* objectName = "";
  };

  explicit QuestionBar(QWidget* parent = nullptr);
  void ask(const QString& text, const std::vector<Answer>& answers);
  void setText(const QString& text);
  [[nodiscard]] QString text() const;
  [[nodiscard]] QPushButton* button(const char* objectName) const;

 private:
  QLabel* text_;
  QHBoxLayout* buttons_;
};

}  // namespace lumisk
