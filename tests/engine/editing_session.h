#pragma once

#include <filesystem>
#include <functional>
#include <map>
#include <sstream>
#include <string>

#include "platform/paths.h"
#include "support/temp_tree.h"

// What programs do to files, step by step.

namespace lumisk::test {

// Whoever works in a folder. Each step is told as (folder, name of the entry), both as the system sees them.
class Hand {
 public:
  Hand(std::string root, int line, std::function<void(const std::string&, const std::string&)> told)
      : root_(std::move(root)), line_(line), told_(std::move(told)) {}

  // A line of the session; false when there is no such program.
  bool run(std::istringstream words) {
    std::string program, first, second;
    words >> program >> first >> second;
    const auto found = programs().find(program);
    if (found == programs().end()) return false;
    found->second(*this, first, second);
    return true;
  }

 private:
  using Program = std::function<void(Hand&, const std::string&, const std::string&)>;
  static const std::map<std::string, Program>& programs();

  std::string at(const std::string& path) const { return root_ + "/" + path; }
  void tell(const std::string& path) { told_(paths::parent(at(path)), paths::lastComponent(path)); }
  std::string text(const std::string& path) const { return path + " of line " + std::to_string(line_) + "\n"; }
  static std::string beside(const std::string& path, const std::string& before, const std::string& after) {
    const auto folder = std::filesystem::path(path).parent_path();
    return folder / (before + paths::lastComponent(path) + after);
  }

  void folder(const std::string& path) {
    if (path.empty() || exists(at(path))) return;
    folder(std::filesystem::path(path).parent_path());
    std::filesystem::create_directory(at(path));
    tell(path);
  }
  void write(const std::string& path) {
    folder(std::filesystem::path(path).parent_path());
    writeFile(at(path), text(path));
    tell(path);
  }
  void append(const std::string& path, const std::string& more) {
    writeFile(at(path), readFile(at(path)) + more);
    tell(path);
  }
  void rename(const std::string& from, const std::string& to) {
    std::filesystem::rename(at(from), at(to));
    tell(from);
    tell(to);
  }
  void remove(const std::string& path) {
    std::filesystem::remove_all(at(path));
    tell(path);
  }
  void replace(const std::string& path, const std::string& temporary) {
    write(temporary);
    append(temporary, "for " + path);
    rename(temporary, path);
  }
  void many(const std::string& folder, int count) {
    for (int i = 0; i < count; ++i) write(folder + "/f" + std::to_string(i));
  }
  void build(const std::string& folder, int count);
  void checkOut(const std::string& folder, int branch);
  void unpack(const std::string& folder, int count);

  std::string root_;
  int line_;
  std::function<void(const std::string&, const std::string&)> told_;
};

inline void Hand::build(const std::string& folder, int count) {
  for (int i = 0; i < count; ++i) {
    const std::string object = folder + "/obj/" + std::to_string(i % 4) + "/f" + std::to_string(i) + ".o";
    write(object + ".tmp");
    rename(object + ".tmp", object);
  }
  write(folder + "/obj/app");
  replace(folder + "/app", folder + "/app.link");
}

// Files of all branches are replaced; each has a folder of its own.
inline void Hand::checkOut(const std::string& folder, int branch) {
  write(folder + "/.git/index.lock");
  for (int i = 0; i < 30; ++i) {
    remove(folder + "/src/f" + std::to_string(i));
    write(folder + "/src/f" + std::to_string(i));
  }
  for (int other = 0; other < 10; ++other)
    if (other != branch && exists(at(folder + "/v" + std::to_string(other))))
      remove(folder + "/v" + std::to_string(other));
  many(folder + "/v" + std::to_string(branch) + "/inner", 12);
  many(folder + "/v" + std::to_string(branch), 3);
  rename(folder + "/.git/index.lock", folder + "/.git/index");
  replace(folder + "/.git/HEAD", folder + "/.git/HEAD.lock");
}

// Dates are those of the archive.
inline void Hand::unpack(const std::string& folder, int count) {
  many(folder, count / 2);
  many(folder + "/inner/deep", count / 2);
  for (int i = 0; i < count / 2; ++i) setModified(at(folder + "/f" + std::to_string(i)), 1'000'000'000 + line_);
  if (exists(at(folder + "/hard"))) return;
  std::filesystem::create_hard_link(at(folder + "/f0"), at(folder + "/hard"));
  std::filesystem::create_symlink("inner/deep", at(folder + "/link"));
}

inline const std::map<std::string, Hand::Program>& Hand::programs() {
  using Text = const std::string&;
  static const std::map<std::string, Program> kPrograms{
      {"new", [](Hand& hand, Text file, Text) { hand.write(file); }},
      {"sources", [](Hand& hand, Text folder, Text count) { hand.many(folder, std::stoi(count)); }},
      {"mkdir", [](Hand& hand, Text folder, Text) { hand.folder(folder); }},
      {"rm", [](Hand& hand, Text path, Text) { hand.remove(path); }},
      {"rmdir", [](Hand& hand, Text path, Text) { hand.remove(path); }},
      {"mv", [](Hand& hand, Text from, Text to) { hand.rename(from, to); }},
      {"case", [](Hand& hand, Text from, Text to) { hand.rename(from, to); }},
      {"save", [](Hand& hand, Text file, Text) { hand.replace(file, beside(file, ".", ".tmp~")); }},
      {"type",  // in place, in several writes
       [](Hand& hand, Text file, Text) {
         writeFile(hand.at(file), "");
         hand.tell(file);
         for (const char* more : {"one\n", "two\n", "three\n"}) hand.append(file, more + hand.text(file));
       }},
      {"swap", [](Hand& hand, Text file, Text) { hand.write(beside(file, ".", ".swp")); }},
      {"unswap", [](Hand& hand, Text file, Text) { hand.remove(beside(file, ".", ".swp")); }},
      {"vim",
       [](Hand& hand, Text file, Text) {
         hand.write(beside(file, ".", ".swp"));
         hand.write(beside("4913", "", ""));
         hand.remove("4913");
         hand.rename(file, beside(file, "", "~"));
         hand.write(file);
         hand.remove(beside(file, "", "~"));
         hand.remove(beside(file, ".", ".swp"));
       }},
      {"lock", [](Hand& hand, Text file, Text) { hand.write(beside(file, ".~lock.", "#")); }},
      {"unlock", [](Hand& hand, Text file, Text) { hand.remove(beside(file, ".~lock.", "#")); }},
      {"autosave", [](Hand& hand, Text file, Text) { hand.write(beside(file, "", ".autosave")); }},
      {"office",
       [](Hand& hand, Text file, Text) {
         hand.replace(file, beside(file, "lu", ".tmp"));
         hand.remove(beside(file, "", ".autosave"));
       }},
      {"build", [](Hand& hand, Text folder, Text count) { hand.build(folder, std::stoi(count)); }},
      {"clean", [](Hand& hand, Text folder, Text) { hand.remove(folder + "/obj"); }},
      {"checkout", [](Hand& hand, Text folder, Text branch) { hand.checkOut(folder, std::stoi(branch)); }},
      {"unpack", [](Hand& hand, Text folder, Text count) { hand.unpack(folder, std::stoi(count)); }},
      {"hard",
       [](Hand& hand, Text from, Text to) {
         std::filesystem::create_hard_link(hand.at(from), hand.at(to));
         hand.tell(to);
       }},
      {"symlink", [](Hand& hand, Text text, Text to) {
         std::filesystem::create_symlink(text, hand.at(to));
         hand.tell(to);
       }}};
  return kPrograms;
}

}  // namespace lumisk::test
