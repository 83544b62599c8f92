#pragma once

#include <QLabel>
#include <QPlainTextEdit>
#include <QWidget>

#include "presenters/target_room.h"
#include "ui/pie_chart.h"
#include "ui/widgets.h"

namespace lumisk {

// The room on a target: the pie with its legend, the sentence for it, and what will not fit.
class RoomView : public QWidget {
 public:
  explicit RoomView(QWidget* parent = nullptr);
  void show(const TargetRoom& room);

 private:
  void showPie(const TargetRoom& room);
  void showMisfits(const TargetRoom& room);

  PieChart* pie_;
  QLabel* name_;
  QLabel* format_;
  PieLegendLine *used_, *added_, *free_;
  QLabel* sentence_;
  widgets::InlineMessage* loss_;
  widgets::InlineMessage* misfitCount_;
  QPlainTextEdit* misfits_;
};

}  // namespace lumisk
