#pragma once

#include <string>
#include <string_view>

namespace lumisk {

// Names for further versions of a file: the tag stands between the base name and the extension. Pure functions of any
// bytes.

// "report.pdf" with "(OLD)": "report(OLD).pdf"; "Makefile": "Makefile(OLD)". A name that would be longer than a file
// system takes (255 bytes) gets a shorter base, cut between characters where it is UTF-8, and a mark that keeps two
// long names apart which differ only further on.
[[nodiscard]] std::string taggedName(std::string_view name, std::string_view tag);

// The name of a revision: "a.txt" and 3: "a(Qel Lumisk 3).txt".
[[nodiscard]] std::string revisionName(std::string_view name, int number);

}  // namespace lumisk
