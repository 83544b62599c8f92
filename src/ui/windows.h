#pragma once

#include <QObject>
#include <QPointer>
#include <functional>
#include <map>
#include <string>
#include <vector>

#include "platform/clock.h"
#include "platform/file_calls.h"
#include "platform/main_loop.h"
#include "platform/user_dialogs.h"
#include "presenters/jobs_board.h"

class QWidget;

namespace lumisk {

class WindowSet;

// What windows are made of; everything outlives them.
struct UiContext {
  JobsBoard& board;
  Clock& clock;
  FileCalls& files;
  MainLoop& loop;
  UserDialogs& dialogs;
  WindowSet& windows;
};

enum class WindowKind { kMain, kJobEditor, kLog, kVolumes, kPreferences, kRestore, kMiniPanel, kPickJob };

// What a window is opened for.
struct WindowRequest {
  std::string uuid;                // of a job; empty: none
  std::vector<std::string> paths;  // bytes; sources of a new job, what is to be restored
  friend auto operator<=>(const WindowRequest&, const WindowRequest&) = default;
};

// The windows of the program. Each kind is made by a factory, so that windows know of each other only by kind. A window
// that is open for the same purpose is brought to the front instead of being opened again. Windows remember their place
// and size by kind. A window is deleted when it is closed (Qt::WA_DeleteOnClose), but for the main window and the mini
// panel, which hide.
class WindowSet : public QObject {
 public:
  // Makes a window that is not shown yet; `set` owns it.
  using Factory = std::function<QWidget*(UiContext& context, const WindowRequest& request)>;

  WindowSet(JobsBoard& board, Clock& clock, FileCalls& files, MainLoop& loop, UserDialogs& dialogs);
  ~WindowSet() override;

  void add(WindowKind kind, Factory factory);
  [[nodiscard]] UiContext& context() { return context_; }

  // Null when there is no such factory.
  QWidget* open(WindowKind kind, const WindowRequest& request = {});
  [[nodiscard]] QWidget* find(WindowKind kind, const WindowRequest& request = {}) const;  // null: not open

  QWidget* showMain() { return open(WindowKind::kMain); }
  QWidget* openJobEditor(const std::string& uuid) { return open(WindowKind::kJobEditor, {uuid, {}}); }
  QWidget* openNewJob(const std::vector<std::string>& sources = {}) {
    return open(WindowKind::kJobEditor, {{}, sources});
  }
  // Sources that a file manager sent, for a job that the user picks.
  QWidget* openPickJob(const std::vector<std::string>& sources) { return open(WindowKind::kPickJob, {{}, sources}); }
  QWidget* openLog(const std::string& uuid) { return open(WindowKind::kLog, {uuid, {}}); }
  QWidget* openVolumes() { return open(WindowKind::kVolumes); }
  QWidget* openPreferences() { return open(WindowKind::kPreferences); }
  QWidget* openRestoreOfJob(const std::string& uuid) { return open(WindowKind::kRestore, {uuid, {}}); }
  QWidget* openRestoreOfPath(const std::string& path) { return open(WindowKind::kRestore, {{}, {path}}); }
  QWidget* showMiniPanel() { return open(WindowKind::kMiniPanel); }

  // Ends the program when the user agrees, and what the main window's own button does; set by Desktop.
  std::function<void()> quit = [] {};
  std::function<void()> closeMain = [this] {
    if (auto* const window = find(WindowKind::kMain)) hideWindow(*window);
  };

  // Closes all; false when one of them did not want to.
  bool closeAll();

 protected:
  bool eventFilter(QObject* watched, QEvent* event) override;  // remembers places when windows go

 private:
  static void hideWindow(QWidget& window);

  UiContext context_;
  std::map<WindowKind, Factory> factories_;
  std::map<std::pair<WindowKind, WindowRequest>, QPointer<QWidget>> windows_;
};

// All that this program has; one line for each in all_windows.cpp.
void addAllWindows(WindowSet& windows);

}  // namespace lumisk
