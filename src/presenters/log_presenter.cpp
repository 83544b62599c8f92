#include "presenters/log_presenter.h"

#include <algorithm>

#include "log/log_file.h"
#include "platform/byte_text.h"

namespace lumisk {
namespace {

constexpr int kMostPartsAtOnce = 16;  // of 64 KB: a window stays lively while it catches up

std::string lowered(std::string text) {
  for (char& c : text)
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c + ('a' - 'A'));
  return text;
}

}  // namespace

// "ERROR: ..." of runs, whatever stands before it, and deletions that were held back.
bool isErrorLine(const std::string& line) {
  return line.find("ERROR:") != std::string::npos || line.find("FATAL ERROR") != std::string::npos ||
         line.find(" are held back: ") != std::string::npos;
}

LogPresenter::LogPresenter(FileCalls& files, std::string path, std::size_t mostLines, std::uint64_t mostOfOldLog)
    : path_(std::move(path)), mostLines_(mostLines), tail_(files, path_, mostOfOldLog) {}

LogPresenter::Change LogPresenter::look() {
  Change change;
  isBehind_ = false;
  for (int part = 0; part < kMostPartsAtOnce; ++part) {
    const auto text = tail_.next();
    trouble_ = text ? "" : displayText(text.error().text());
    if (!text) break;
    if (tail_.beginnings() != beginnings_) {
      if (beginnings_ != 0) forget();
      change = {.isAnew = true};
      beginnings_ = tail_.beginnings();
    }
    if (text->empty()) break;
    take(*text, change);
    isBehind_ = part + 1 == kMostPartsAtOnce;
  }
  return change;
}

void LogPresenter::take(const std::string& text, Change& change) {
  std::size_t begin = 0;
  for (std::size_t end; (end = text.find('\n', begin)) != std::string::npos; begin = end + 1) {
    add(rest_ + text.substr(begin, end - begin), change);
    rest_.clear();
  }
  if (rest_.size() < kLongestLine) rest_ += text.substr(begin);
}

void LogPresenter::add(std::string line, Change& change) {
  if (line.size() > kLongestLine) line.resize(kLongestLine);
  LogLine added{displayText(line), isErrorLine(line), ++lastNumber_};
  errors_ += added.isError ? 1 : 0;
  if (passes(added)) {
    shown_.push_back(added);
    ++change.added;
  }
  lines_.push_back(std::move(added));
  if (lines_.size() > mostLines_) dropFirst(change);
}

void LogPresenter::dropFirst(Change& change) {
  const LogLine& first = lines_.front();
  errors_ -= first.isError ? 1 : 0;
  if (!shown_.empty() && shown_.front().number == first.number) {
    shown_.pop_front();
    // One that has come and gone again within this look is neither.
    const bool wasJustAdded = change.added > shown_.size();
    wasJustAdded ? --change.added : ++change.dropped;
  }
  lines_.pop_front();
}

void LogPresenter::forget() {
  lines_.clear();
  shown_.clear();
  rest_.clear();
  errors_ = 0;
}

bool LogPresenter::passes(const LogLine& line) const {
  if (errorsOnly_ && !line.isError) return false;
  return filter_.empty() || lowered(line.text).find(filter_) != std::string::npos;
}

void LogPresenter::setFilter(const std::string& text) {
  filter_ = lowered(text);
  filterAnew();
}

void LogPresenter::setErrorsOnly(bool errorsOnly) {
  errorsOnly_ = errorsOnly;
  filterAnew();
}

void LogPresenter::filterAnew() {
  shown_.clear();
  std::copy_if(lines_.begin(), lines_.end(), std::back_inserter(shown_),
               [this](const LogLine& line) { return passes(line); });
}

bool LogPresenter::clear() {
  if (!emptyLog(path_)) return false;
  tail_.startAgain();
  forget();
  return true;
}

}  // namespace lumisk
