#include "screenshots/scenes.h"

namespace lumisk::test {

void addMainScenes(Scenes& scenes) {
  scenes.push_back({"main", [](WindowSet& windows, FakeJobsBoard&) { return windows.showMain(); }});
  scenes.push_back({"main-empty", [](WindowSet& windows, FakeJobsBoard& board) {
                      board.list.clear();
                      return windows.showMain();
                    }});
  scenes.push_back({"pick-job", [](WindowSet& windows, FakeJobsBoard&) {
                      return windows.openPickJob({"/home/anna/Letters", "/home/anna/Contracts 2009"});
                    }});
  scenes.push_back({"mini", [](WindowSet& windows, FakeJobsBoard&) { return windows.showMiniPanel(); }});
  scenes.push_back({"mini-paused", [](WindowSet& windows, FakeJobsBoard& board) {
                      board.list[1].paused = true;
                      board.list[2].running = true;
                      board.list[2].progress = JobProgressMessage::messageWithJobName("Music", "Aria.flac", 7, 40);
                      return windows.showMiniPanel();
                    }});
}

}  // namespace lumisk::test
