#pragma once

#include <QMainWindow>
#include <vector>

#include "ui/windows.h"

class QLabel;
class QSortFilterProxyModel;
class QStackedWidget;
class QTableView;
class QToolBar;

namespace lumisk {

class JobCommands;
class JobsModel;

// The list of jobs with its tool bar; without a job, what leads to the first one. Folders that are dropped on it begin
// a job of them.
class MainWindow : public QMainWindow {
  Q_OBJECT

 public:
  explicit MainWindow(UiContext& context);

  [[nodiscard]] QTableView& table() { return *table_; }
  [[nodiscard]] JobCommands& commands() { return *commands_; }

 protected:
  void closeEvent(QCloseEvent* event) override;
  void showEvent(QShowEvent* event) override;
  void hideEvent(QHideEvent* event) override;
  void dragEnterEvent(QDragEnterEvent* event) override;
  void dropEvent(QDropEvent* event) override;

 private:
  QToolBar* makeToolBar();
  QWidget* makeEmptyState();
  QWidget* makeList();
  void setUpTable();
  void setUpColumns();
  void follow();  // the model: what is selected, the summary, whether there are jobs
  void showMenu(const QPoint& place);
  void showColumnMenu(const QPoint& place);
  [[nodiscard]] std::vector<std::string> selectedUuids() const;
  void select(const std::vector<std::string>& uuids);

  UiContext& context_;
  JobsModel& model_;
  JobCommands* commands_;
  QSortFilterProxyModel* sorted_;
  QTableView* table_;
  QStackedWidget* pages_;
  QLabel* summary_;
  std::vector<std::string> selected_;  // kept over a reset of the model
};

void addMainWindow(WindowSet& windows);

}  // namespace lumisk
