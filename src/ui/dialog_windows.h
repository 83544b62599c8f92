#pragma once

#include <QObject>
#include <QPointer>
#include <functional>
#include <map>

#include "app/dialog_desk.h"
#include "presenters/background.h"

class QDialog;

namespace lumisk {

// One window for each item of the desk: made, changed and gone with it. They come up without taking the focus, but for
// those that the main thread waits for. However a window is closed, its question has an answer then. Main thread only.
class DialogWindows : public QObject {
 public:
  DialogWindows(DialogDesk& desk, const Clock& clock, MainLoop& loop);
  ~DialogWindows() override;

  // Shows the log of a job, by its name; without, no window offers it.
  void setOpenLog(std::function<void(const std::string& job)> open) { openLog_ = std::move(open); }
  [[nodiscard]] QDialog* windowOf(std::uint64_t id) const;  // null when there is none

 private:
  void follow();
  QDialog* make(const DialogItem& item);
  void show(const DialogItem& item, QDialog& window);

  DialogDesk& desk_;
  const Clock& clock_;
  Background background_;
  std::function<void(const std::string&)> openLog_;
  std::map<std::uint64_t, QPointer<QDialog>> windows_;
};

}  // namespace lumisk
