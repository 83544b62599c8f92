#include "presenters/locale_text.h"

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <map>
#include <memory>
#include <set>
#include <sstream>
#include <utility>

#include "platform/calendar_date.h"
#include "presenters/dialog_texts.h"
#include "support/home_fixture.h"
#include "support/temp_tree.h"

namespace lumisk {
namespace {

using test::ScopedVariable;

// The texts of a catalogue: singular and plural by the key.
struct Entry {
  std::string context, id, plural;
  std::vector<std::string> texts;
};

std::string unquoted(const std::string& line) {
  const auto begin = line.find('"') + 1;
  std::string text;
  for (std::size_t i = begin; i + 1 < line.size(); ++i) {
    if (line[i] == '\\' && i + 2 < line.size())
      text += line[++i] == 'n' ? '\n' : line[i];
    else
      text += line[i];
  }
  return text;
}

std::vector<Entry> entriesOf(const std::string& catalogue) {
  std::vector<Entry> entries;
  std::string context;
  std::string* target = nullptr;
  std::istringstream lines(catalogue);
  for (std::string line; std::getline(lines, line);) {
    if (line.starts_with("msgctxt ")) {
      target = &(context = "");
    } else if (line.starts_with("msgid ")) {
      entries.push_back({std::exchange(context, ""), {}, {}, {}});
      target = &entries.back().id;
    } else if (line.starts_with("msgid_plural ")) {
      target = &entries.back().plural;
    } else if (line.starts_with("msgstr")) {
      entries.back().texts.emplace_back();
      target = &entries.back().texts.back();
    }
    if (target && line.find('"') != std::string::npos && line[0] != '#') *target += unquoted(line);
  }
  return entries;
}

std::multiset<std::string> placeholders(const std::string& text) {
  std::multiset<std::string> found;
  for (std::size_t at = 0; (at = text.find('{', at)) != std::string::npos; ++at)
    found.insert(text.substr(at, text.find('}', at) - at + 1));
  for (std::size_t at = 0; (at = text.find('%', at)) != std::string::npos; ++at)
    if (at + 1 < text.size() && std::isdigit(static_cast<unsigned char>(text[at + 1])))
      found.insert(text.substr(at, 2));
  return found;
}

class GermanTexts : public ::testing::Test {
 protected:
  GermanTexts() { startTranslation(LUMISK_CATALOGUES, "de"); }
  ~GermanTexts() override {
    ::unsetenv("LANGUAGE");
    startTranslation("", "en");
    ::unsetenv("LANGUAGE");
  }
  ScopedVariable zone_{"TZ", "UTC0"};
};

TEST(Catalogue, EveryText_IsTranslatedWithTheSamePlaceholders) {
  for (const Entry& entry : entriesOf(test::readFile(LUMISK_GERMAN_CATALOGUE))) {
    if (entry.id.empty()) continue;
    EXPECT_EQ(entry.texts.size(), entry.plural.empty() ? 1U : 2U) << entry.id;
    for (const std::string& text : entry.texts) {
      EXPECT_NE(text, "") << entry.id;
      // "every day" needs no number.
      const bool isSingular = entry.plural.empty() || (&text == &entry.texts.front() && placeholders(entry.id).empty());
      EXPECT_EQ(placeholders(text), placeholders(isSingular ? entry.id : entry.plural)) << entry.id;
      EXPECT_EQ(text.ends_with('\n'), entry.id.ends_with('\n')) << entry.id;
    }
  }
}

// The template as the sources have it; empty without the tools that gather it.
std::string gatheredTexts() {
  const auto root = std::filesystem::path(LUMISK_GERMAN_CATALOGUE).parent_path().parent_path();
  const std::string command = "'" + (root / "scripts/update_translations").string() + "' --print 2>&1";
  const std::unique_ptr<FILE, int (*)(FILE*)> pipe(::popen(command.c_str(), "r"), &::pclose);
  std::string text;
  char part[4096];
  while (const std::size_t got = pipe ? std::fread(part, 1, sizeof part, pipe.get()) : 0) text.append(part, got);
  return text;
}

TEST(Catalogue, EveryTextOfTheSources_IsInIt) {
  const auto wanted = entriesOf(gatheredTexts());
  if (wanted.size() < 2) GTEST_SKIP() << "gettext or the repository is missing";
  std::set<std::pair<std::string, std::string>> known;
  for (const Entry& entry : entriesOf(test::readFile(LUMISK_GERMAN_CATALOGUE))) known.insert({entry.context, entry.id});
  for (const Entry& entry : wanted)
    EXPECT_TRUE(known.contains({entry.context, entry.id})) << entry.id << ": run scripts/update_translations";
}

TEST_F(GermanTexts, WordOfAStatusAndOfAButton_Differ) {
  EXPECT_EQ(translated("Cancel"), "Abbrechen");
  EXPECT_EQ(translatedAs("status", "Cancel"), "Abgebrochen");
  EXPECT_EQ(translatedAs("status", "Error"), "Fehler");
}

TEST_F(GermanTexts, SizesAndDates_AreTheLanguagesOwn_AndMachineTextsAreNot) {
  const auto time = CalendarDate::fromLocal(2026, 11, 21, 16, 48, 0).time();
  EXPECT_EQ(localSize(45'240'000), "45,2 MB");
  EXPECT_EQ(localCount(30412), "30.412");
  EXPECT_EQ(localDateTime(time), "21.11.2026 16:48");
  EXPECT_EQ(localRecent(time, time + std::chrono::hours(9)), "gestern, 16:48");
  EXPECT_EQ(localDateTime(FileTime{}), "unbekannt");
  EXPECT_EQ(fmt::format("{:.1f} {:L}", 1.5, 1000), "1.5 1000");
  EXPECT_STREQ(std::strerror(ENOENT), "No such file or directory");
}

TEST_F(GermanTexts, DialogOfTheEngine_IsGermanWithItsNumberAndDate) {
  DialogItem item;
  item.kind = DialogKind::kPathProblem;
  item.job = "Fotos";
  item.texts = {{"Destination folder isn't writable or does not exist.", WallTime{}, 3}};
  const DialogTexts texts = dialogTexts(item, WallTime{});
  EXPECT_EQ(texts.heading, "„Fotos“ konnte nicht ausgeführt werden");
  EXPECT_EQ(texts.body, "Der Zielordner ist nicht beschreibbar oder nicht vorhanden.");
  EXPECT_EQ(texts.times, "3-mal gemeldet, zuletzt heute, 00:00.");
  item = {.kind = DialogKind::kHeldDeletions, .job = "Fotos", .held = {"Fotos", "", 1234, {}}};
  EXPECT_EQ(dialogTexts(item, WallTime{}).heading, "„Fotos“ würde 1.234 Einträge löschen");
}

TEST(EnglishTexts, SizesAndDates_AreReadable) {
  const ScopedVariable zone("TZ", "UTC0");
  const auto time = CalendarDate::fromLocal(2026, 11, 21, 16, 48, 0).time();
  EXPECT_EQ(localSize(999'960), "1.0 MB");
  EXPECT_EQ(localSize(999), "999 B");
  EXPECT_EQ(localRecent(time, time), "today, 16:48");
  EXPECT_EQ(localRecent(time, time - std::chrono::hours(24)), "2026-11-21 16:48");
  EXPECT_EQ(filled("{} and {}", 1), "{} and {}");
}

}  // namespace
}  // namespace lumisk
