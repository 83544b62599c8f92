#include "fuzz.h"
#include "platform/property_list.h"

// Whatever can be read can be written, and what was written reads back as the same. (Texts are compared, because a real
// that is not a number does not equal itself.)
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const auto list = lumisk::parsePropertyList({reinterpret_cast<const char*>(data), size});
  if (!list) {
    require(!list.error().detail.empty(), "an error without a reason");
    return 0;
  }
  const auto xml = lumisk::propertyListToXml(*list);
  require(xml.has_value(), "read, but cannot be written");
  const auto again = lumisk::parsePropertyList(*xml);
  require(again.has_value(), "written, but cannot be read");
  const auto xmlAgain = lumisk::propertyListToXml(*again);
  require(xmlAgain.has_value() && *xmlAgain == *xml, "reads back as something else");
  return 0;
}
