#include "platform/durable_file.h"
#include "platform/property_list.h"

namespace lumisk {

Result<PropertyList> readPropertyListFile(const std::string& path) {
  LUMISK_TRY(const auto file, loadFile(path));
  auto list = parsePropertyList(file.bytes);
  if (!list) list.error().path = path;
  return list;
}

Result<void> writePropertyListFile(const std::string& path, const PropertyList& list) {
  auto xml = propertyListToXml(list);
  if (!xml) return fail(xml.error().operation, path, xml.error().code, xml.error().detail);
  return replaceFile(path, *xml, 0666);
}

}  // namespace lumisk
