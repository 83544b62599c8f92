#include "platform/translation.h"

#include <langinfo.h>
#include <libintl.h>
#include <locale.h>

#include <array>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <initializer_list>

#include "platform/paths.h"

// Raised whenever the language changes, so that texts are looked up again; from the manual of gettext.
extern "C" int _nl_msg_cat_cntr;

namespace lumisk {
namespace {

constexpr const char* kDomain = "lumisk";
constexpr const char* kNeutral = "C.UTF-8";

// Set once, at start-up.
locale_t gc_messages = nullptr;  // null: nothing is translated
locale_t gc_formats = nullptr;   // null: the language's own

// The locale of this thread, for as long as it lives.
class LocaleOfThread {
 public:
  explicit LocaleOfThread(locale_t locale) : before_(uselocale(locale)) {}
  ~LocaleOfThread() { uselocale(before_); }
  LocaleOfThread(const LocaleOfThread&) = delete;
  LocaleOfThread& operator=(const LocaleOfThread&) = delete;

 private:
  locale_t before_;
};

std::string firstOf(std::initializer_list<const char*> variables) {
  for (const char* name : variables) {
    const char* const value = std::getenv(name);
    if (value && *value) return value;
  }
  return "";
}

bool isNeutral(const std::string& locale) {
  return locale.empty() || locale == "POSIX" || locale.starts_with("C.") || locale == "C";
}

// A language may be wanted whose locale is not installed: its catalogue serves all the same.
locale_t messagesLocale(const std::string& language) {
  if (!language.empty()) setenv("LANGUAGE", language.c_str(), 1);
  const locale_t users = language.empty() ? newlocale(LC_MESSAGES_MASK, "", nullptr) : nullptr;
  if (users) return users;
  const std::string wanted = firstOf({"LC_ALL", "LC_MESSAGES", "LANG"});
  if (!std::getenv("LANGUAGE") && !isNeutral(wanted)) setenv("LANGUAGE", wanted.c_str(), 1);
  return newlocale(LC_MESSAGES_MASK, kNeutral, nullptr);
}

locale_t formatsLocale() {
  if (isNeutral(firstOf({"LC_ALL", "LC_TIME", "LANG"}))) return nullptr;
  return newlocale(LC_TIME_MASK | LC_NUMERIC_MASK, "", nullptr);
}

void replaceLocale(locale_t& held, locale_t locale) {
  if (held) freelocale(held);
  held = locale;
}

std::string formatted(const char* format, WallTime time, locale_t locale) {
  const std::time_t seconds = std::chrono::system_clock::to_time_t(time);
  std::tm fields{};
  localtime_r(&seconds, &fields);
  std::array<char, 128> text;
  const std::size_t length = locale ? strftime_l(text.data(), text.size(), format, &fields, locale)
                                    : std::strftime(text.data(), text.size(), format, &fields);
  return {text.data(), length};
}

std::string localOr(nl_item item, const char* ofLanguage) {
  return gc_formats ? nl_langinfo_l(item, gc_formats) : translated(ofLanguage);
}

}  // namespace

std::string catalogueFolder(const std::string& programPath) {
  return paths::join(paths::parent(paths::parent(programPath)), "share/locale");
}

void startTranslation(const std::string& catalogues, const std::string& language) {
  keepMachineLocale();
  replaceLocale(gc_messages, messagesLocale(language));
  replaceLocale(gc_formats, language.empty() ? formatsLocale() : nullptr);
  bindtextdomain(kDomain, catalogues.c_str());
  bind_textdomain_codeset(kDomain, "UTF-8");
  ++_nl_msg_cat_cntr;
}

void keepMachineLocale() {
  setlocale(LC_ALL, "C");
  setlocale(LC_CTYPE, kNeutral);
}

std::string translated(const char* english) {
  if (!gc_messages || !*english) return english;  // the empty text is the catalogue's header
  const LocaleOfThread locale(gc_messages);
  return dgettext(kDomain, english);
}

// The key that msgfmt(1) makes of a context and a text.
std::string translatedAs(const char* sense, const char* english) {
  const std::string key = std::string(sense) + '\004' + english;
  const std::string found = translated(key.c_str());
  return found == key ? translated(english) : found;
}

std::string translatedCount(const char* one, const char* many, unsigned long count) {
  if (!gc_messages) return count == 1 ? one : many;
  const LocaleOfThread locale(gc_messages);
  return dngettext(kDomain, one, many, count);
}

std::string localDate(WallTime time) {
  // Translators: a date, with the conversions of strftime(3).
  return gc_formats ? formatted("%x", time, gc_formats) : formatted(translated("%Y-%m-%d").c_str(), time, nullptr);
}

std::string localTimeOfDay(WallTime time) {
  const bool hasHalves = gc_formats && std::strstr(nl_langinfo_l(T_FMT, gc_formats), "%p");
  const bool hasHalvesToo = gc_formats && std::strstr(nl_langinfo_l(T_FMT, gc_formats), "%r");
  return hasHalves || hasHalvesToo ? formatted("%I:%M %p", time, gc_formats) : formatted("%H:%M", time, nullptr);
}

std::string localDecimalPoint() {
  // Translators: the decimal point.
  return localOr(RADIXCHAR, markedText("."));
}

std::string localThousandsSeparator() {
  // Translators: what stands between the thousands of a number.
  return localOr(THOUSEP, markedText(","));
}

}  // namespace lumisk
