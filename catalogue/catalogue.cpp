// Looking things up; the tables are generated from catalogue.toml.
#include "catalogue/catalogue.h"

#include <algorithm>

namespace catalogue {
namespace {

template <typename Row, typename Value>
const Row* find(std::span<const Row> rows, Value Row::*field, const Value& value) {
  const auto found = std::ranges::find(rows, value, field);
  return found == rows.end() ? nullptr : &*found;
}

}  // namespace

const Test* find_test(std::int32_t code) {
  return find(tests(), &Test::code, code);
}

const Test* find_test(std::string_view name) {
  return find(tests(), &Test::name, name);
}

const Family* find_family(std::string_view name) {
  return find(families(), &Family::name, name);
}

const Family* find_family_of_type(std::uint32_t type) {
  return find(families(), &Family::type, type);
}

bool is_given(const Test& test, std::string_view family) {
  return test.is_for_all || std::ranges::find(test.families, family) != test.families.end();
}

std::vector<const Test*> tests_of(std::string_view family) {
  std::vector<const Test*> given;
  for (const Test& test : tests()) {
    if (is_given(test, family)) given.push_back(&test);
  }
  return given;
}

}  // namespace catalogue
