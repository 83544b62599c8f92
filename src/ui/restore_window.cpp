#include "ui/restore_window.h"

#include <QFileDialog>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QListWidget>
#include <QProgressBar>
#include <QShortcut>
#include <QSplitter>
#include <QTreeWidget>
#include <QVBoxLayout>

#include "jobs/shared_files.h"
#include "platform/byte_text.h"
#include "platform/paths.h"
#include "presenters/locale_text.h"
#include "presenters/restore_presenter.h"
#include "ui/text.h"
#include "ui/widgets.h"
#include "ui/windows.h"

namespace lumisk {
namespace {

enum Column { kDate, kKind, kSize, kNote, kColumns };
constexpr int kPathRole = Qt::UserRole;
constexpr int kFolderRole = Qt::UserRole + 1;
constexpr int kProgressSteps = 1000;

QByteArray bytes(const std::string& path) {
  return QByteArray::fromStdString(path);
}

class RestoreWindow : public QWidget {
 public:
  RestoreWindow(RestorePresenter::Services services, const WindowRequest& request) : restore_(std::move(services)) {
    setObjectName(QStringLiteral("window"));
    resize(960, 600);
    build();
    restore_.observe([this] { show(); });
    request.paths.empty() ? restore_.showJob(request.uuid) : restore_.showPath(request.paths.front());
    setWindowTitle(shownText(filled(translated("Restore from “{}”"), displayText(restore_.title()))));
    entries_->setFocus();
  }

  using QWidget::show;

 private:
  // What is to be seen.

  void build() {
    auto* const column = new QVBoxLayout(this);
    column->setContentsMargins(theme::kLarge, theme::kLarge, theme::kLarge, theme::kLarge);
    column->setSpacing(theme::kMedium);
    auto* const splitter = new QSplitter;
    splitter->setChildrenCollapsible(false);
    splitter->setHandleWidth(theme::kLarge);
    splitter->setStyleSheet(QStringLiteral("QSplitter::handle { background: transparent; }"));
    splitter->addWidget(buildEntries());
    splitter->addWidget(buildVersions());
    splitter->setStretchFactor(0, 2);
    splitter->setStretchFactor(1, 3);
    splitter->setSizes({360, 560});
    column->addWidget(splitter, 1);
    column->addWidget(message_);
    column->addLayout(buildProgress());
    column->addLayout(buildButtons());
    connect(new QShortcut(QKeySequence::Close, this), &QShortcut::activated, this, &QWidget::close);
    connect(new QShortcut(QKeySequence(Qt::ALT | Qt::Key_Up), this), &QShortcut::activated, this,
            [this] { restore_.up(); });
  }

  QLayout* buildPath() {
    auto* const row = new QHBoxLayout;
    row->setSpacing(theme::kSmall);
    connect(up_, &QToolButton::clicked, this, [this] { restore_.up(); });
    folder_->setSizePolicy(QSizePolicy::Ignored, QSizePolicy::Preferred);
    row->addWidget(folder_, 1);
    row->addWidget(up_);
    return row;
  }

  QWidget* buildEntries() {
    entries_->setAccessibleName(tr_("Files and folders"));
    entries_->setUniformItemSizes(true);
    entries_->setTextElideMode(Qt::ElideMiddle);
    entries_->setIconSize({theme::kIconSize, theme::kIconSize});
    connect(entries_, &QListWidget::itemActivated, this, [this](const QListWidgetItem* item) {
      if (item->data(kFolderRole).toBool()) restore_.enter(item->data(kPathRole).toByteArray().toStdString());
    });
    connect(entries_, &QListWidget::currentItemChanged, this, [this](const QListWidgetItem* item) {
      if (item && !isFilling_) restore_.select(item->data(kPathRole).toByteArray().toStdString());
    });
    auto* const side = new QWidget;
    auto* const column = new QVBoxLayout(side);
    column->setContentsMargins(0, 0, 0, 0);
    column->setSpacing(theme::kSmall);
    column->addLayout(buildPath());
    column->addWidget(entries_, 1);
    return side;
  }

  QWidget* buildVersions() {
    auto* const side = new QWidget;
    auto* const column = new QVBoxLayout(side);
    column->setContentsMargins(0, 0, 0, 0);
    column->setSpacing(theme::kSmall);
    name_->setMinimumHeight(up_->sizeHint().height());
    name_->setSizePolicy(QSizePolicy::Ignored, QSizePolicy::Preferred);
    versions_->setAccessibleName(tr_("Versions"));
    versions_->setColumnCount(kColumns);
    versions_->setHeaderLabels({tr_("Changed"), tr_("Version"), tr_("Size"), QString()});
    versions_->setRootIsDecorated(false);
    versions_->headerItem()->setTextAlignment(kSize, Qt::AlignRight | Qt::AlignVCenter);
    versions_->setStyleSheet(QStringLiteral("QTreeView::item { border-radius: 0; }"));
    versions_->setUniformRowHeights(true);
    versions_->setAllColumnsShowFocus(true);
    versions_->header()->setStretchLastSection(true);
    connect(versions_, &QTreeWidget::itemSelectionChanged, this, [this] { enableButtons(); });
    connect(versions_, &QTreeWidget::itemActivated, this, [this] { restore_.open(row()); });
    column->addWidget(name_);
    column->addWidget(versions_, 1);
    column->addWidget(hint_);
    return side;
  }

  QLayout* buildProgress() {
    auto* const row = new QHBoxLayout;
    row->setSpacing(theme::kMedium);
    progress_->setTextVisible(false);
    progress_->setAccessibleName(tr_("Progress"));
    progressText_->setWordWrap(false);
    progressText_->setSizePolicy(QSizePolicy::Ignored, QSizePolicy::Preferred);
    connect(cancel_, &QPushButton::clicked, this, [this] { restore_.cancel(); });
    row->addWidget(progress_, 1);
    row->addWidget(progressText_, 1);
    row->addWidget(cancel_);
    return row;
  }

  QLayout* buildButtons() {
    auto* const row = new QHBoxLayout;
    row->setSpacing(theme::kSmall);
    explanation_->setWordWrap(false);
    row->addWidget(explanation_, 1);
    connect(open_, &QPushButton::clicked, this, [this] { restore_.open(this->row()); });
    connect(into_, &QPushButton::clicked, this, [this] { putInto(); });
    connect(back_, &QPushButton::clicked, this, [this] { restore_.putBack(this->row()); });
    for (QPushButton* const button : {open_, into_, back_}) row->addWidget(button);
    return row;
  }

  // What there is to see.

  void show() {
    showFolder();
    showVersions();
    showRestore();
    enableButtons();
  }

  void showFolder() {
    up_->setEnabled(restore_.canGoUp());
    const QString folder = restore_.folder().empty() ? tr_("Folders of this job") : shownText(restore_.folder());
    folder_->setText(folder_->fontMetrics().elidedText(folder, Qt::ElideMiddle, std::max(folder_->width(), 280)));
    folder_->setToolTip(folder);
    QStringList key{QString::number(restore_.entries().size()), folder};
    for (const RestoreEntry& entry : restore_.entries())
      key += shownText(entry.path) + (entry.isGone ? QStringLiteral("-") : QStringLiteral("+"));
    if (std::exchange(shownEntries_, key) != key) fillEntries();
    selectEntry();
  }

  void fillEntries() {
    isFilling_ = true;
    entries_->clear();
    for (const RestoreEntry& entry : restore_.entries()) {
      auto* const item = new QListWidgetItem(entryText(entry), entries_);
      const auto tint = entry.isGone ? theme::Tint::kQuiet : theme::Tint::kAccent;
      item->setIcon(theme::icon(entry.isFolder ? "folder" : "file", entry.isFolder ? tint : theme::Tint::kQuiet));
      item->setData(kPathRole, bytes(entry.path));
      item->setData(kFolderRole, entry.isFolder);
      item->setToolTip(shownText(entry.path));
      if (entry.isGone) item->setForeground(theme::colours().quietText);
    }
    isFilling_ = false;
  }

  static QString entryText(const RestoreEntry& entry) {
    if (!entry.isGone) return shownText(entry.name);
    return shownText(filled(translated("{} (deleted)"), displayText(entry.name)));
  }

  void selectEntry() {
    isFilling_ = true;
    for (int row = 0; row < entries_->count(); ++row) {
      if (entries_->item(row)->data(kPathRole).toByteArray() == bytes(restore_.selected()))
        entries_->setCurrentRow(row);
    }
    isFilling_ = false;
  }

  void showVersions() {
    const bool isFolder = restore_.selected() == restore_.folder();
    const std::string name = paths::lastComponent(restore_.selected());
    const QString text = shownText(isFolder ? filled(translated("This folder, {}"), displayText(name)) : name);
    name_->setText(name_->fontMetrics().elidedText(text, Qt::ElideMiddle, std::max(name_->width(), 320)));
    const std::string hint = restore_.isLooking() ? translated("Looking for versions …") : restore_.hint();
    hint_->setText(shownText(hint));
    hint_->setVisible(!hint.empty());
    if (restore_.isLooking() && !restore_.versions().empty()) return;  // what is shown stays until there is more
    const QByteArray chosen = versions_->currentItem() ? versionOf(*versions_->currentItem()) : QByteArray();
    versions_->clear();
    for (const VersionRow& version : restore_.versions()) addVersion(version);
    fitColumns();
    choose(chosen);
  }

  // The version that was chosen, wherever it stands by now; the first where it is not there.
  void choose(const QByteArray& version) {
    if (versions_->topLevelItemCount() == 0) return;
    versions_->setCurrentItem(versions_->topLevelItem(0));
    for (int row = 0; row < versions_->topLevelItemCount(); ++row)
      if (versionOf(*versions_->topLevelItem(row)) == version) versions_->setCurrentItem(versions_->topLevelItem(row));
  }

  static QByteArray versionOf(const QTreeWidgetItem& item) { return item.data(kDate, kPathRole).toByteArray(); }

  // With room for the headings, whose padding is the style sheet's.
  void fitColumns() {
    for (int column = 0; column < kNote; ++column) {
      const QString heading = versions_->headerItem()->text(column);
      const int least = versions_->header()->fontMetrics().horizontalAdvance(heading) + 3 * theme::kLarge;
      versions_->resizeColumnToContents(column);
      versions_->setColumnWidth(column, std::max(versions_->columnWidth(column) + theme::kSmall, least));
    }
  }

  void addVersion(const VersionRow& version) {
    auto* const item = new QTreeWidgetItem(versions_);
    item->setText(kDate, shownText(version.date));
    item->setData(kDate, kPathRole, bytes(version.place + '\0' + version.date));
    item->setText(kKind, shownText(version.kind));
    item->setText(kSize, shownText(version.size));
    item->setTextAlignment(kSize, Qt::AlignRight | Qt::AlignVCenter);
    item->setText(kNote, shownText(version.note));
    item->setForeground(kNote, theme::colours().quietText);
    for (int column = 0; column < kColumns; ++column) item->setToolTip(column, shownText(version.place));
  }

  void showRestore() {
    const bool isBusy = restore_.isRestoring();
    for (QWidget* const widget : std::initializer_list<QWidget*>{progress_, progressText_, cancel_})
      widget->setVisible(isBusy);
    if (isBusy) {
      const auto progress = restore_.progress();
      progress_->setRange(0, progress.percent ? kProgressSteps : 0);
      if (progress.percent) progress_->setValue(static_cast<int>(*progress.percent / 100 * kProgressSteps));
      progressText_->setText(shownText(progress.text));
      message_->clear();
    } else if (const auto& end = restore_.lastEnd()) {
      const auto kind = end->isGood ? widgets::InlineMessage::Kind::kHint : widgets::InlineMessage::Kind::kError;
      message_->show(kind, shownText(end->note.empty() ? end->text : end->text + "\n" + end->note));
    } else {
      message_->clear();
    }
  }

  void enableButtons() {
    const bool canRestore = row() < restore_.versions().size() && !restore_.isRestoring() && !restore_.isLooking();
    back_->setEnabled(canRestore);
    into_->setEnabled(canRestore);
    open_->setEnabled(canRestore && restore_.versions()[row()].canBeOpened);
    explanation_->setVisible(!restore_.isRestoring());
  }

  [[nodiscard]] std::size_t row() const {
    return static_cast<std::size_t>(versions_->indexOfTopLevelItem(versions_->currentItem()));
  }

  void putInto() {
    const std::size_t chosen = row();
    const QString folder = QFileDialog::getExistingDirectory(this, tr_("Put into this folder"));
    if (!folder.isEmpty()) restore_.putInto(chosen, pathBytes(folder));
  }

  RestorePresenter restore_;
  QToolButton* up_ = widgets::iconButton("chevron-up", tr_("The folder above"));
  QLabel* folder_ = widgets::heading({});
  QListWidget* entries_ = new QListWidget;
  QLabel* name_ = widgets::heading({});
  QTreeWidget* versions_ = new QTreeWidget;
  QLabel* hint_ = widgets::quiet({});
  widgets::InlineMessage* message_ = new widgets::InlineMessage;
  QProgressBar* progress_ = new QProgressBar;
  QLabel* progressText_ = widgets::quiet({});
  QPushButton* cancel_ = widgets::button(tr_("&Cancel"));
  QLabel* explanation_ = widgets::quiet(tr_("What stands there goes to the Trash."));
  QPushButton* open_ = widgets::button(tr_("&Open a copy"), widgets::ButtonKind::kPlain, "open");
  QPushButton* into_ = widgets::button(tr_("Put &into …"), widgets::ButtonKind::kPlain, "folder");
  QPushButton* back_ = widgets::button(tr_("Put &back"), widgets::ButtonKind::kPrimary, "restore");
  QStringList shownEntries_;
  bool isFilling_ = false;
};

}  // namespace

void addRestoreWindow(WindowSet& windows) {
  // What was opened stays until the program ends.
  const auto opener = std::make_shared<VersionOpener>();
  windows.add(WindowKind::kRestore, [opener](UiContext& context, const WindowRequest& request) -> QWidget* {
    RestorePresenter::Services services{context.files,
                                        context.clock,
                                        context.dialogs,
                                        backgroundThreads(context.loop.performer()),
                                        [&board = context.board] {
                                          PropertyList::Array jobs;
                                          for (BoardJob& job : board.jobs()) jobs.push_back(std::move(job.stored));
                                          return jobs;
                                        },
                                        pluginListPath(),
                                        opener};
    return new RestoreWindow(std::move(services), request);
  });
}

}  // namespace lumisk
