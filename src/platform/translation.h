#pragma once

#include <string>

#include "platform/clock.h"

namespace lumisk {

// Texts, dates and numbers for people, in their language: gettext(3) with the English text as the key. The process
// itself stays in the C locale, whatever the user's is: files, logs and error texts are the same everywhere. Until
// startTranslation() every text stays English. Afterwards any thread may call.

// Where the compiled catalogues are: "share/locale" beside the folder of the program.
[[nodiscard]] std::string catalogueFolder(const std::string& programPath);
// language: as in LANGUAGE ("de"); "" for what the environment says. At start-up, with no other thread running.
void startTranslation(const std::string& catalogues, const std::string& language = "");
// Puts the process back into the C locale (with UTF-8), for toolkits that take the user's for the whole process.
void keepMachineLocale();

[[nodiscard]] std::string translated(const char* english);
// Of a text that means something else elsewhere: `sense` tells the two apart in the catalogue. A catalogue that does
// not distinguish them has translated().
[[nodiscard]] std::string translatedAs(const char* sense, const char* english);
// The form for so many; the number is still to be put in.
[[nodiscard]] std::string translatedCount(const char* one, const char* many, unsigned long count);
// Marks a text for the catalogue that is translated where it is shown.
constexpr const char* markedText(const char* english) {
  return english;
}

constexpr const char* markedTextAs(const char* /*sense*/, const char* english) {
  return english;
}

// As the user's locale writes them; where it is not installed, as the language does.
[[nodiscard]] std::string localDate(WallTime time);
[[nodiscard]] std::string localTimeOfDay(WallTime time);  // hours and minutes
[[nodiscard]] std::string localDecimalPoint();
[[nodiscard]] std::string localThousandsSeparator();

}  // namespace lumisk
