#include "ui/volumes_window.h"

#include <QGridLayout>
#include <QScrollArea>
#include <QShortcut>
#include <QVBoxLayout>

#include "presenters/locale_text.h"
#include "ui/path_field.h"
#include "ui/pie_chart.h"
#include "ui/text.h"
#include "ui/volume_picker.h"
#include "ui/widgets.h"
#include "ui/windows.h"

namespace lumisk {
namespace {

constexpr QSize kWindowSize{760, 620};
constexpr int kPieSide = 84;

QString text(const std::string& bytes) {
  return QString::fromStdString(bytes);
}

QString noteOf(const VolumeRow& row) {
  if (!row.imagePath.empty()) return tr_("Encrypted image");
  return row.volume.isReadOnly ? tr_("Read-only") : QString();
}

QWidget* makeVolumeCard(const VolumeRow& row) {
  auto* const card = new widgets::Card;
  auto* const line = new QHBoxLayout;
  line->setSpacing(theme::kLarge);
  auto* const pie = new PieChart(kPieSide);
  const double used = static_cast<double>(row.usedBytes()), total = static_cast<double>(row.volume.bytes);
  const QString percent = total > 0 ? QStringLiteral("%1 %").arg(qRound(used * 100 / total)) : QString();
  pie->show({{used, PieChart::Colour::kAdded}, {total - used, PieChart::Colour::kFree}}, percent,
            titleOf(row) + QStringLiteral(": ") + text(freeSentence(row)));
  line->addWidget(pie, 0, Qt::AlignTop);
  auto* const texts = new QVBoxLayout;
  texts->setSpacing(theme::kTiny);
  auto* const name = new PathLabel(titleOf(row).toStdString());
  name->setFont(theme::font(theme::TextStyle::kStrong));
  texts->addWidget(name);
  texts->addWidget(widgets::label(text(freeSentence(row))));
  texts->addWidget(widgets::quiet(text(row.formatText)));
  if (const QString note = noteOf(row); !note.isEmpty()) texts->addWidget(widgets::quiet(note));
  auto* const path = new PathLabel(row.volume.path);
  path->setForegroundRole(QPalette::PlaceholderText);
  texts->addWidget(path);
  texts->addStretch();
  line->addLayout(texts, 1);
  card->content()->addLayout(line);
  return card;
}

QWidget* makeDiskLine(const DiskRow& disk) {
  auto* const line = new QWidget;
  auto* const row = new QHBoxLayout(line);
  row->setContentsMargins(0, 0, 0, 0);
  row->addWidget(widgets::label(shownText(disk.name)));
  row->addStretch();
  row->addWidget(widgets::label(shownText(disk.device), theme::TextStyle::kQuiet));
  return line;
}

class VolumesWindow : public QWidget {
 public:
  VolumesWindow(UiContext& context, VolumesPresenter::Lister lister)
      : volumes_(backgroundThreads(context.loop.performer()), std::move(lister)), scroll_(new QScrollArea) {
    setObjectName(QStringLiteral("window"));
    setAttribute(Qt::WA_StyledBackground);
    setWindowTitle(tr_("Volumes and disks"));
    resize(kWindowSize);
    auto* const column = new QVBoxLayout(this);
    column->setContentsMargins(0, 0, 0, 0);
    scroll_->setWidgetResizable(true);
    scroll_->setFrameShape(QFrame::NoFrame);
    scroll_->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    column->addWidget(scroll_);
    for (const auto& keys : {QKeySequence(QKeySequence::Refresh), QKeySequence(Qt::Key_F5)})
      connect(new QShortcut(keys, this), &QShortcut::activated, this, [this] { volumes_.refresh(); });
    connect(new QShortcut(Qt::Key_Escape, this), &QShortcut::activated, this, [this] { close(); });
    volumes_.changed = [this] { showList(); };
    showList();
    volumes_.refresh();
  }

 private:
  void showList() {
    auto* const page = new QWidget;
    page->setObjectName(QStringLiteral("page"));
    auto* const column = new QVBoxLayout(page);
    column->setContentsMargins(theme::kHuge, theme::kHuge, theme::kHuge, theme::kHuge);
    column->setSpacing(theme::kMedium);
    addHead(*column);
    if (!volumes_.isKnown()) column->addWidget(widgets::quiet(tr_("Looking…")));
    addVolumes(*column);
    addDisks(*column);
    column->addStretch();
    scroll_->setWidget(page);
  }

  void addHead(QVBoxLayout& column) {
    auto* const head = new QHBoxLayout;
    head->addWidget(widgets::label(tr_("Volumes"), theme::TextStyle::kTitle));
    head->addStretch();
    auto* const again = widgets::iconButton("refresh", tr_("Look again"));
    connect(again, &QToolButton::clicked, this, [this] { volumes_.refresh(); });
    head->addWidget(again);
    column.addLayout(head);
  }

  void addVolumes(QVBoxLayout& column) {
    auto* const grid = new QGridLayout;
    grid->setSpacing(theme::kMedium);
    grid->setColumnStretch(0, 1);
    grid->setColumnStretch(1, 1);
    int place = 0;
    for (const VolumeRow& row : volumes_.list().volumes) {
      grid->addWidget(makeVolumeCard(row), place / 2, place % 2);
      ++place;
    }
    column.addLayout(grid);
  }

  void addDisks(QVBoxLayout& column) {
    if (volumes_.list().disks.empty()) return;
    column.addSpacing(theme::kSmall);
    column.addWidget(widgets::heading(tr_("Disks")));
    auto* const card = new widgets::Card;
    for (const DiskRow& disk : volumes_.list().disks) card->content()->addWidget(makeDiskLine(disk));
    column.addWidget(card);
  }

  VolumesPresenter volumes_;
  QScrollArea* scroll_;
};

}  // namespace

void addVolumesWindow(WindowSet& windows, VolumesPresenter::Lister lister) {
  windows.add(WindowKind::kVolumes,
              [lister](UiContext& context, const WindowRequest&) { return new VolumesWindow(context, lister); });
}

}  // namespace lumisk
