#pragma once

#include <nlohmann/json_fwd.hpp>
#include <string>
#include <vector>

#include "platform/property_list.h"

namespace lumisk {

// JSON in which nothing is lost: bytes that are not UTF-8 become {"base64": "..."}, whether they stand for a name, a
// path or other data. Dates are strings in the stored form.
[[nodiscard]] nlohmann::ordered_json jsonOfText(const std::string& text);
[[nodiscard]] nlohmann::ordered_json jsonOfTexts(const std::vector<std::string>& texts);
[[nodiscard]] nlohmann::ordered_json jsonOfPropertyList(const PropertyList& list);
// As it is printed, with a newline at the end. Keys that are not UTF-8 lose the bytes that are not.
[[nodiscard]] std::string printedJson(const nlohmann::ordered_json& json);

}  // namespace lumisk
