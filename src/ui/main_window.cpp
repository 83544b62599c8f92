#include "ui/main_window.h"

#include <QAction>
#include <QCloseEvent>
#include <QDropEvent>
#include <QHeaderView>
#include <QLabel>
#include <QMenu>
#include <QMimeData>
#include <QPushButton>
#include <QSortFilterProxyModel>
#include <QStackedWidget>
#include <QTableView>
#include <QToolBar>
#include <QToolButton>
#include <QVBoxLayout>
#include <algorithm>

#include "presenters/uri_list.h"
#include "ui/job_commands.h"
#include "ui/jobs_delegate.h"
#include "ui/jobs_model.h"
#include "ui/text.h"
#include "ui/widgets.h"
#include "ui/window_memory.h"

namespace lumisk {
namespace {

constexpr const char* kUriList = "text/uri-list";
const QString kMemoryName = QStringLiteral("main");
constexpr QSize kFirstSize{1200, 640};
constexpr QSize kLeastSize{720, 400};

std::vector<std::string> droppedPaths(const QMimeData* data) {
  const QByteArray list = data->data(QLatin1String(kUriList));
  return pathsOfUriList({list.constData(), static_cast<std::size_t>(list.size())});
}

// Names as people order them; numbers as numbers.
class SortedJobs : public QSortFilterProxyModel {
 public:
  explicit SortedJobs(QObject* parent) : QSortFilterProxyModel(parent) {
    setSortRole(JobsModel::kSortRole);
    setSortLocaleAware(true);
    setSortCaseSensitivity(Qt::CaseInsensitive);
  }
};

void addTools(QToolBar& bar, const QList<QAction*>& actions, Qt::ToolButtonStyle style) {
  for (QAction* const action : actions) {
    bar.addAction(action);
    auto* const button = qobject_cast<QToolButton*>(bar.widgetForAction(action));
    button->setToolButtonStyle(style);
    button->setFocusPolicy(Qt::TabFocus);
  }
}

}  // namespace

MainWindow::MainWindow(UiContext& context)
    : context_(context),
      model_(JobsModel::of(context)),
      commands_(new JobCommands(context, *this)),
      sorted_(new SortedJobs(this)),
      table_(new QTableView),
      pages_(new QStackedWidget),
      summary_(widgets::label({}, theme::TextStyle::kQuiet)) {
  setWindowTitle(QStringLiteral("Qel Lumisk"));
  setMinimumSize(kLeastSize);
  resize(kFirstSize);
  setAcceptDrops(true);
  setContextMenuPolicy(Qt::NoContextMenu);
  addToolBar(makeToolBar());
  pages_->addWidget(makeEmptyState());
  pages_->addWidget(makeList());
  setCentralWidget(pages_);
  connect(sorted_, &QAbstractItemModel::modelReset, this, [this] { select(std::vector(selected_)); });
  connect(&model_, &JobsModel::updated, this, &MainWindow::follow);
  follow();
}

QToolBar* MainWindow::makeToolBar() {
  auto* const bar = new QToolBar(tr_("Tools"));
  bar->setObjectName(QStringLiteral("main"));
  bar->setMovable(false);
  bar->setIconSize({theme::kIconSize, theme::kIconSize});
  addTools(*bar, {commands_->newJob}, Qt::ToolButtonTextBesideIcon);
  commands_->addSeparator(*bar);
  addTools(*bar, {commands_->startOrStop}, Qt::ToolButtonTextBesideIcon);
  addTools(*bar, {commands_->pauseOrResume}, Qt::ToolButtonIconOnly);
  addTools(*bar, {commands_->edit, commands_->enableOrDisable, commands_->remove}, Qt::ToolButtonTextBesideIcon);
  commands_->addSeparator(*bar);
  addTools(*bar, {commands_->log, commands_->restore}, Qt::ToolButtonTextBesideIcon);
  auto* const space = new QWidget;
  space->setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Preferred);
  bar->addWidget(space);
  addTools(*bar, {commands_->volumes, commands_->miniPanel, commands_->preferences}, Qt::ToolButtonIconOnly);
  auto* const more = widgets::iconButton("more", tr_("More"));
  auto* const menu = new QMenu(more);
  menu->addActions({commands_->about, commands_->quit});
  more->setMenu(menu);
  more->setPopupMode(QToolButton::InstantPopup);
  bar->addWidget(more);
  return bar;
}

QWidget* MainWindow::makeEmptyState() {
  auto* const empty =
      new widgets::EmptyState("type-backup", tr_("Nothing is backed up yet"),
                              tr_("Choose what to keep safe and where its copy goes. You can also drop folders here."));
  auto* const button = widgets::button(tr_("New &backup"), widgets::ButtonKind::kPrimary, "plus");
  button->setObjectName(QStringLiteral("firstJob"));
  connect(button, &QPushButton::clicked, commands_->newJob, &QAction::trigger);
  empty->addButton(button);
  return empty;
}

QWidget* MainWindow::makeList() {
  setUpTable();
  auto* const page = new QWidget;
  auto* const column = new QVBoxLayout(page);
  column->setContentsMargins(theme::kLarge, 0, theme::kLarge, theme::kMedium);
  column->setSpacing(theme::kMedium);
  auto* const card = new widgets::Card;
  card->content()->setContentsMargins(1, theme::kTiny, 1, theme::kTiny);
  card->content()->addWidget(table_);
  column->addWidget(card, 1);
  summary_->setContentsMargins(theme::kTiny, 0, theme::kTiny, 0);
  column->addWidget(summary_);
  return page;
}

void MainWindow::setUpTable() {
  sorted_->setSourceModel(&model_);
  table_->setModel(sorted_);
  table_->setItemDelegate(new JobsDelegate(table_));
  table_->setAccessibleName(tr_("Jobs"));
  table_->setSelectionBehavior(QAbstractItemView::SelectRows);
  table_->setSelectionMode(QAbstractItemView::ExtendedSelection);
  table_->setEditTriggers(QAbstractItemView::NoEditTriggers);
  table_->setTabKeyNavigation(false);
  table_->setShowGrid(false);
  table_->setWordWrap(false);
  table_->setVerticalScrollMode(QAbstractItemView::ScrollPerPixel);
  table_->setHorizontalScrollMode(QAbstractItemView::ScrollPerPixel);
  table_->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
  table_->verticalHeader()->hide();
  table_->verticalHeader()->setSectionResizeMode(QHeaderView::Fixed);
  table_->verticalHeader()->setDefaultSectionSize(JobsDelegate::rowHeight());
  table_->setContextMenuPolicy(Qt::CustomContextMenu);
  setUpColumns();
  connect(table_, &QWidget::customContextMenuRequested, this, &MainWindow::showMenu);
  connect(table_, &QAbstractItemView::activated, commands_->edit, &QAction::trigger);
  connect(table_->selectionModel(), &QItemSelectionModel::selectionChanged, this, [this] { follow(); });
}

void MainWindow::setUpColumns() {
  QHeaderView& header = *table_->horizontalHeader();
  header.setDefaultAlignment(Qt::AlignLeft | Qt::AlignVCenter);
  header.setHighlightSections(false);
  header.setSectionsMovable(true);
  header.setMinimumSectionSize(90);
  header.setStretchLastSection(false);
  static constexpr int kWidths[] = {230, 230, 230, 210, 150, 150};
  for (int column = 0; column < kJobColumns; ++column) header.resizeSection(column, kWidths[column]);
  header.setSectionResizeMode(static_cast<int>(JobColumn::kSource), QHeaderView::Stretch);
  header.setSectionResizeMode(static_cast<int>(JobColumn::kTarget), QHeaderView::Stretch);
  header.setSectionHidden(static_cast<int>(JobColumn::kLastRun), true);
  table_->setSortingEnabled(true);
  header.setSortIndicatorClearable(true);
  header.setSortIndicator(-1, Qt::AscendingOrder);  // in their stored order
  windowMemory::restoreColumns(header, kMemoryName);
  sorted_->sort(header.sortIndicatorSection(), header.sortIndicatorOrder());
  header.setContextMenuPolicy(Qt::CustomContextMenu);
  connect(&header, &QWidget::customContextMenuRequested, this, &MainWindow::showColumnMenu);
}

std::vector<std::string> MainWindow::selectedUuids() const {
  std::vector<std::string> uuids;
  for (const QModelIndex& index : table_->selectionModel()->selectedRows()) {
    uuids.push_back(index.data(JobsModel::kUuidRole).toByteArray().toStdString());
  }
  return uuids;
}

void MainWindow::select(const std::vector<std::string>& uuids) {
  const QItemSelectionModel::SelectionFlags rows = QItemSelectionModel::Select | QItemSelectionModel::Rows;
  for (int row = 0; row < sorted_->rowCount(); ++row) {
    const QModelIndex index = sorted_->index(row, 0);
    const std::string uuid = index.data(JobsModel::kUuidRole).toByteArray().toStdString();
    if (std::find(uuids.begin(), uuids.end(), uuid) == uuids.end()) continue;
    table_->selectionModel()->select(index, rows);
    table_->selectionModel()->setCurrentIndex(index, QItemSelectionModel::NoUpdate);
  }
}

void MainWindow::follow() {
  selected_ = selectedUuids();
  std::vector<const JobRow*> rows;
  for (const std::string& uuid : selected_) {
    if (const JobRow* const row = model_.list().find(uuid)) rows.push_back(row);
  }
  commands_->setSelected(selected_, rows);
  const bool hasJobs = model_.rowCount() > 0;
  pages_->setCurrentIndex(hasJobs ? 1 : 0);
  commands_->setJobCommandsVisible(hasJobs);
  summary_->setText(shownText(model_.list().summary()));
}

void MainWindow::showMenu(const QPoint& place) {
  QMenu menu;
  if (table_->indexAt(place).isValid()) {
    commands_->addTo(menu);
  } else {
    menu.addAction(commands_->newJob);
  }
  menu.exec(table_->viewport()->mapToGlobal(place));
}

void MainWindow::showColumnMenu(const QPoint& place) {
  QMenu menu;
  QHeaderView* const header = table_->horizontalHeader();
  for (int column = 1; column < kJobColumns; ++column) {
    auto* const action = menu.addAction(model_.headerData(column, Qt::Horizontal, Qt::DisplayRole).toString());
    action->setCheckable(true);
    action->setChecked(!header->isSectionHidden(column));
    connect(action, &QAction::toggled, header, [header, column](bool on) { header->setSectionHidden(column, !on); });
  }
  menu.exec(header->mapToGlobal(place));
}

void MainWindow::closeEvent(QCloseEvent* event) {
  event->ignore();
  context_.windows.closeMain();
}

// A list that is looked at for the first time has its first job selected, for the keyboard.
void MainWindow::showEvent(QShowEvent* event) {
  QMainWindow::showEvent(event);
  if (model_.rowCount() == 0) return pages_->currentWidget()->findChild<QPushButton*>()->setFocus();
  table_->setFocus();
  if (!table_->currentIndex().isValid()) table_->selectRow(0);
}

void MainWindow::hideEvent(QHideEvent* event) {
  windowMemory::keepColumns(*table_->horizontalHeader(), kMemoryName);
  QMainWindow::hideEvent(event);
}

void MainWindow::dragEnterEvent(QDragEnterEvent* event) {
  if (!droppedPaths(event->mimeData()).empty()) event->acceptProposedAction();
}

void MainWindow::dropEvent(QDropEvent* event) {
  const auto paths = droppedPaths(event->mimeData());
  if (paths.empty()) return;
  event->acceptProposedAction();
  context_.windows.openNewJob(paths);
}

void addMainWindow(WindowSet& windows) {
  windows.add(WindowKind::kMain, [](UiContext& context, const WindowRequest&) { return new MainWindow(context); });
}

}  // namespace lumisk
