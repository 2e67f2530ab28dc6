#include "station/report/junit_xml.h"

#include <array>
#include <cstdio>

#include "station/text/text.h"

namespace t1station {

void set_attribute(pugi::xml_node element, const char* name, const std::string& value) {
  element.append_attribute(name).set_value(clean_text(value).c_str());
}

void add_property(pugi::xml_node properties, const char* name, const std::string& value) {
  const pugi::xml_node property = properties.append_child("property");
  set_attribute(property, "name", name);
  set_attribute(property, "value", value);
}

std::string milliseconds_text(double seconds) {
  std::array<char, 64> text{};
  std::snprintf(text.data(), text.size(), "%.3f", seconds);
  return text.data();
}

}  // namespace t1station
