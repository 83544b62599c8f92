// Photographs windows with sample jobs, without a screen unless QT_QPA_PLATFORM names one: `ui_screenshots FOLDER
// [NAME...]` (scripts/screenshots calls it) writes
// "<name>-light.png", "<name>-dark.png" and both at twice the size, "<name>-light-200.png"; in another language where
// LUMISK_LANGUAGE names one.
#include <QApplication>
#include <QCursor>
#include <QDir>
#include <QEventLoop>
#include <QFontDatabase>
#include <QPixmap>
#include <QProcess>
#include <QScreen>
#include <QTimer>
#include <cstdio>

#include "platform/process.h"
#include "platform/real_file_calls.h"
#include "platform/translation.h"
#include "screenshots/scenes.h"
#include "support/fake_clock.h"
#include "support/home_fixture.h"
#include "support/silent_dialogs.h"
#include "ui/theme.h"

namespace lumisk::test {
namespace {

struct Picture {
  QString folder;
  theme::Appearance appearance;
  QString suffix;
};

// What windows learn on other threads is drawn, too.
void settle() {
  QEventLoop waiting;
  QTimer::singleShot(700, &waiting, &QEventLoop::quit);
  waiting.exec();
}

// From the screen where there is one.
QPixmap takenOf(QWidget& window) {
  if (QGuiApplication::platformName() != QLatin1String("xcb")) return window.grab();
  window.raise();
  QCursor::setPos(window.screen()->geometry().bottomRight());  // nothing is pointed at
  settle();
  return window.screen()->grabWindow(window.winId());
}

bool photograph(const Scene& scene, const Picture& picture, MainLoop& loop) {
  FakeClock clock(kSampleNow);
  SilentDialogs dialogs;
  FakeJobsBoard board;
  board.list = sampleJobs(clock.now());
  WindowSet windows(board, clock, realFileCalls(), loop, dialogs);
  addAllWindows(windows);
  QWidget* const window = scene.open(windows, board);
  if (!window) return true;  // of a window that is not built in
  settle();
  const QString path = picture.folder + QStringLiteral("/") + QString::fromStdString(scene.name) + picture.suffix;
  return takenOf(*window).save(path + QStringLiteral(".png"));
}

Scenes allScenes(int count, char** arguments) {
  Scenes all, wanted;
  addMainScenes(all);
  addEditorScenes(all);
  addDialogScenes(all);
  for (const Scene& scene : all) {
    bool isWanted = count < 3;
    for (int i = 2; i < count; ++i) isWanted = isWanted || scene.name == arguments[i];
    if (isWanted) wanted.push_back(scene);
  }
  return wanted;
}

int photographAll(QApplication& application, int count, char** arguments) {
  TempTree home{{"Library", Dir{{"Preferences", Dir{}}}}};
  ScopedVariable homeVariable("LUMISK_HOME", home.path());
  const bool isDouble = qgetenv("QT_SCALE_FACTOR") == "2";
  const QString folder = QString::fromLocal8Bit(arguments[1]);
  if (QFontDatabase::families().contains(QStringLiteral("Inter"))) QApplication::setFont(QFont("Inter", 10));
  MainLoop loop;
  bool isWritten = QDir().mkpath(folder);
  for (const auto appearance : {theme::Appearance::kLight, theme::Appearance::kDark}) {
    theme::apply(application, appearance);
    const bool isDark = appearance == theme::Appearance::kDark;
    const QString suffix = QString::fromLatin1(isDark ? "-dark" : "-light") + (isDouble ? "-200" : "");
    for (const Scene& scene : allScenes(count, arguments)) {
      isWritten = photograph(scene, {folder, appearance, suffix}, loop) && isWritten;
    }
  }
  return isWritten ? 0 : 1;
}

// The scale is a property of the process.
int photographTwice(const QString& program, const QStringList& arguments) {
  for (const char* scale : {"1", "2"}) {
    qputenv("QT_SCALE_FACTOR", scale);
    if (const int status = QProcess::execute(program, arguments); status != 0) return status;
  }
  return 0;
}

}  // namespace
}  // namespace lumisk::test

int main(int count, char** arguments) {
  if (count < 2) {
    std::fprintf(stderr, "usage: ui_screenshots FOLDER [NAME...]\n");
    return 2;
  }
  if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM")) qputenv("QT_QPA_PLATFORM", "offscreen");
  qputenv("TZ", "CET-1");
  const bool isChild = qEnvironmentVariableIsSet("QT_SCALE_FACTOR");
  QApplication application(count, arguments);
  const QByteArray language = qgetenv("LUMISK_LANGUAGE");
  if (!language.isEmpty())
    lumisk::startTranslation(lumisk::catalogueFolder(lumisk::process::programPath()), language.toStdString());
  if (isChild) return lumisk::test::photographAll(application, count, arguments);
  return lumisk::test::photographTwice(QApplication::applicationFilePath(), QApplication::arguments().mid(1));
}
