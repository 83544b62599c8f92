#include "cli/json_text.h"

#include <nlohmann/json.hpp>

#include "platform/base64.h"
#include "platform/byte_text.h"
#include "platform/calendar_date.h"

namespace lumisk {

using Json = nlohmann::ordered_json;

namespace {

Json jsonOfArray(const PropertyList::Array& array) {
  Json json = Json::array();
  for (const PropertyList& element : array) json.push_back(jsonOfPropertyList(element));
  return json;
}

Json jsonOfDictionary(const PropertyList::Dictionary& dictionary) {
  Json json = Json::object();
  for (const auto& [key, value] : dictionary) json[key] = jsonOfPropertyList(value);
  return json;
}

}  // namespace

Json jsonOfText(const std::string& text) {
  if (isValidUtf8(text)) return text;
  Json json = Json::object();
  json["base64"] = base64(text);
  return json;
}

Json jsonOfTexts(const std::vector<std::string>& texts) {
  Json json = Json::array();
  for (const std::string& text : texts) json.push_back(jsonOfText(text));
  return json;
}

Json jsonOfPropertyList(const PropertyList& list) {
  switch (list.kind()) {
    case PropertyList::Kind::kBoolean:
      return list.boolean();
    case PropertyList::Kind::kInteger:
    case PropertyList::Kind::kUnsigned:
      return list.integer();
    case PropertyList::Kind::kReal:
      return list.real();
    case PropertyList::Kind::kText:
    case PropertyList::Kind::kData:
      return jsonOfText(list.text());
    case PropertyList::Kind::kDate:
      return storedDate(list.date());
    case PropertyList::Kind::kArray:
      return jsonOfArray(list.array());
    case PropertyList::Kind::kDictionary:
      return jsonOfDictionary(list.dictionary());
    case PropertyList::Kind::kNone:
      break;
  }
  return nullptr;
}

std::string printedJson(const Json& json) {
  return json.dump(2, ' ', false, Json::error_handler_t::replace) + "\n";
}

}  // namespace lumisk
