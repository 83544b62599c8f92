#pragma once

#include <atomic>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "engine/restore_choice.h"
#include "presenters/background.h"
#include "presenters/version_opener.h"

namespace lumisk {

// One version of what is selected, for a row of a list.
struct VersionRow {
  std::string date;
  std::string kind;  // "Revision 3"
  std::string size;
  std::string place;  // where it lies; bytes
  std::string note;   // "as it is now"; may be empty
  bool canBeOpened = false;
};

// One name in the folder that is shown.
struct RestoreEntry {
  std::string path;  // absolute; bytes
  std::string name;
  bool isFolder = false;
  bool isGone = false;
};

// Finds the versions of files and folders of jobs and puts them back. What can be browsed are the jobs' sources, with
// what they have no longer. Disks are read on other threads, and a restore has a thread of its own, which this object
// waits for when it goes: it is cancelled then, and no file is left half written. Main thread only.
class RestorePresenter {
 public:
  struct Services {
    FileCalls& files;
    Clock& clock;
    UserDialogs& dialogs;
    Background background;
    std::function<PropertyList::Array()> jobs;  // as they are stored
    std::string pluginListPath;
    std::shared_ptr<VersionOpener> opener = std::make_shared<VersionOpener>();  // keeps what was opened
  };
  explicit RestorePresenter(Services services);
  ~RestorePresenter();

  void observe(std::function<void()> changed) { changed_ = std::move(changed); }

  // Where. A job's sources; or a path at a source or in a target, selected.
  void showJob(const std::string& uuid);
  void showPath(const std::string& path);
  void enter(const std::string& folder);
  void up();
  void select(const std::string& path);

  [[nodiscard]] const std::string& title() const { return title_; }    // of the job or the path
  [[nodiscard]] const std::string& folder() const { return folder_; }  // "": the job's sources
  [[nodiscard]] bool canGoUp() const;
  [[nodiscard]] const std::vector<RestoreEntry>& entries() const { return entries_; }
  [[nodiscard]] bool isListing() const { return isListing_; }

  // What.
  [[nodiscard]] const std::string& selected() const { return asked_.path; }
  [[nodiscard]] const std::vector<VersionRow>& versions() const { return rows_; }
  [[nodiscard]] bool isLooking() const { return isLooking_; }
  // Places that could not be looked into, or that there is nothing; "" when all is well.
  [[nodiscard]] const std::string& hint() const { return hint_; }

  // Rows out of range, and everything while a restore goes on, are ignored.
  void putBack(std::size_t row);
  void putInto(std::size_t row, const std::string& folder);
  void open(std::size_t row);
  void cancel();
  [[nodiscard]] bool isRestoring() const { return restoring_ != nullptr; }
  struct Progress {
    std::string text;
    std::optional<double> percent;  // nothing: the total is not known
  };
  [[nodiscard]] Progress progress() const;
  struct End {
    bool isGood = false;
    std::string text;
    std::string note;  // what the user should know besides; may be empty
  };
  [[nodiscard]] const std::optional<End>& lastEnd() const { return end_; }

 private:
  struct Restoring;
  void findPlaceOf(const std::string& folder, std::function<void(const std::string& folder)> found);
  void show(const std::string& folder);
  void list();
  void look(const std::string& path);
  void showVersions(KnownVersions known);
  void restore(std::size_t row, const std::string& destination, bool toItsPlace);
  void start(std::unique_ptr<Restoring> restoring, std::function<End(Restoring&)> work);
  void ended(End end);
  [[nodiscard]] RestoreServices servicesFor(JobLog& log, Restoring& restoring) const;
  void tell() const;

  Services services_;
  std::function<void()> changed_;
  BackgroundTask listing_, looking_;
  std::shared_ptr<int> isThere_ = std::make_shared<int>();

  std::string title_, folder_;
  std::vector<std::string> roots_;
  std::vector<RestoreEntry> entries_;
  AskedPath asked_;
  KnownVersions known_;
  std::vector<VersionRow> rows_;
  std::string hint_;
  bool isListing_ = false, isLooking_ = false;

  std::unique_ptr<Restoring> restoring_;
  std::optional<End> end_;
};

}  // namespace lumisk
