// What all JUnit reports are written with.
#pragma once

#include <pugixml.hpp>
#include <string>

namespace t1station {

/// Sets an attribute; control characters, which XML does not know, become blanks.
void set_attribute(pugi::xml_node element, const char* name, const std::string& value);
/// Adds <property name="" value=""/>.
void add_property(pugi::xml_node properties, const char* name, const std::string& value);
/// Seconds as JUnit has them: "0.250".
std::string milliseconds_text(double seconds);

}  // namespace t1station
