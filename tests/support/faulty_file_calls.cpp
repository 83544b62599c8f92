#include "support/faulty_file_calls.h"

#include <fnmatch.h>

#include <algorithm>

namespace lumisk::test {
namespace {

bool matches(FileCall wanted, const std::string& pattern, const FaultyFileCalls::Made& made) {
  if (wanted != FileCall::kAny && wanted != made.call) return false;
  const auto fits = [&](const std::string& name) { return fnmatch(pattern.c_str(), name.c_str(), 0) == 0; };
  return fits(made.name) || (!made.secondName.empty() && fits(made.secondName));
}

}  // namespace

void FaultyFileCalls::fail(FileCall call, int code, When when) {
  const std::lock_guard guard(mutex_);
  rules_.push_back({call, std::move(when), code, {}});
}

void FaultyFileCalls::before(FileCall call, std::function<void()> hook, When when) {
  const std::lock_guard guard(mutex_);
  rules_.push_back({call, std::move(when), 0, std::move(hook)});
}

void FaultyFileCalls::judge(std::function<int(const Made&)> judge) {
  const std::lock_guard guard(mutex_);
  judge_ = std::move(judge);
}

void FaultyFileCalls::forgetRules() {
  const std::lock_guard guard(mutex_);
  rules_.clear();
  judge_ = nullptr;
}

std::vector<FaultyFileCalls::Made> FaultyFileCalls::made() const {
  const std::lock_guard guard(mutex_);
  return made_;
}

int FaultyFileCalls::count(FileCall call, const std::string& name) const {
  const std::lock_guard guard(mutex_);
  return static_cast<int>(
      std::count_if(made_.begin(), made_.end(), [&](const Made& made) { return matches(call, name, made); }));
}

Result<void> FaultyFileCalls::enter(FileCall call, const std::string& name, const std::string& secondName) {
  std::vector<std::function<void()>> hooks;
  int code = 0;
  {
    const std::lock_guard guard(mutex_);
    made_.push_back({call, name, secondName});
    for (Rule& rule : rules_) {
      if (rule.when.times == 0 || !matches(rule.call, rule.when.name, made_.back()) || --rule.when.nth > 0) continue;
      if (rule.when.times != kAlways) --rule.when.times;
      if (rule.hook) hooks.push_back(rule.hook);
      if (code == 0) code = rule.code;
    }
    if (judge_ && code == 0) code = judge_(made_.back());
  }
  for (const auto& hook : hooks) hook();
  if (code != 0) return lumisk::fail("fail on purpose", name, code);
  return {};
}

std::string FaultyFileCalls::nameOf(int descriptor) const {
  const std::lock_guard guard(mutex_);
  const auto found = names_.find(descriptor);
  return found == names_.end() ? std::string() : found->second;
}

Result<Descriptor> FaultyFileCalls::remember(Result<Descriptor> opened, const std::string& name) {
  const std::lock_guard guard(mutex_);
  if (opened) names_[opened->get()] = name;
  return opened;
}

Result<std::size_t> FaultyFileCalls::copyRange(int from, int to, std::size_t size) {
  LUMISK_CHECK(enter(FileCall::kCopyRange, to));
  return real_.copyRange(from, to, size);
}

Result<void> FaultyFileCalls::cloneFile(int from, int to) {
  LUMISK_CHECK(enter(FileCall::kCloneFile, to));
  return real_.cloneFile(from, to);
}

Result<void> FaultyFileCalls::close(Descriptor file) {
  LUMISK_CHECK(enter(FileCall::kClose, file.get()));
  return real_.close(std::move(file));
}

Result<void> FaultyFileCalls::rename(int fromFolder, const std::string& from, int toFolder, const std::string& to,
                                     Replace replace) {
  LUMISK_CHECK(enter(FileCall::kRename, from, to));
  return real_.rename(fromFolder, from, toFolder, to, replace);
}

Result<void> FaultyFileCalls::exchange(int folderA, const std::string& a, int folderB, const std::string& b) {
  LUMISK_CHECK(enter(FileCall::kExchange, a, b));
  return real_.exchange(folderA, a, folderB, b);
}

Result<void> FaultyFileCalls::link(int fromFolder, const std::string& from, int toFolder, const std::string& to) {
  LUMISK_CHECK(enter(FileCall::kLink, from, to));
  return real_.link(fromFolder, from, toFolder, to);
}

Result<void> FaultyFileCalls::makeLink(const std::string& text, int folder, const std::string& name) {
  LUMISK_CHECK(enter(FileCall::kMakeLink, name));
  return real_.makeLink(text, folder, name);
}

Result<std::string> FaultyFileCalls::attribute(int descriptor, const std::string& attribute) {
  LUMISK_CHECK(enter(FileCall::kAttribute, descriptor));
  return real_.attribute(descriptor, attribute);
}

Result<void> FaultyFileCalls::setAttribute(int descriptor, const std::string& attribute, std::string_view value) {
  LUMISK_CHECK(enter(FileCall::kSetAttribute, descriptor));
  return real_.setAttribute(descriptor, attribute, value);
}

Result<void> FaultyFileCalls::removeAttribute(int descriptor, const std::string& attribute) {
  LUMISK_CHECK(enter(FileCall::kRemoveAttribute, descriptor));
  return real_.removeAttribute(descriptor, attribute);
}

}  // namespace lumisk::test
