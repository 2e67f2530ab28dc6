// Documents by chance, as boards and as others write them, for the tests that edit by chance.
#pragma once

#include <cstddef>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "tests/xmldocument/xml_edit_model.h"
#include "tests/xmldocument/xml_support.h"

namespace xml_support {

using Texts = std::vector<std::string>;

inline const Texts kNames = {"a", "ab", "abc", "Result", "\xB2\xE2\xCA\xD4"};
inline const Texts kData = {
    "",        "1",   "text", "a<b>&c", "\"it's\"",     "  \r\n", "&lt;",
    "x]]>y<z", "]]>", "]]",   kGbkText, "<![CDATA[<x>", "-->",    "a longer text for a long way"};
inline const Texts kValues = {"",  "1", "say \"x\"", "it's",   "<>&",   "/dev/x",
                              "=", "?", "a b",       kGbkText, "&quot;"};
/// Values as foreign documents write them: with references, and without quotation marks.
inline const Texts kForeign = {"&#65;", "&#x7e;b", "&#60;&#38;", "&#300;&#xE9;", "&#x4E2D;", "&foo;"};
inline const Texts kUnquoted = {"1", "x", "a", "ab", "Result"};
/// Text between elements, as foreign documents have it.
inline const Texts kGaps = {"",
                            "",
                            "",
                            "\r\n",
                            "\r\n  ",
                            "  text",
                            "&lt;\n",
                            "text ",
                            "<!-- <no> -->",
                            "\n<!-- note -->\n",
                            "\t",
                            kGbkText,
                            "",
                            "<![CDATA[<a>]]>",
                            "\r\n<?p i?>",
                            "&#65;&#x4E2D; ",
                            "\"it's\""};
inline const Texts kHeaders = {"", "<?xml version=\"1.0\" encoding=\"GBK\"?>\r\n", "<!-- <x> -->",
                               "\r\n<!DOCTYPE r>\n"};
inline const Texts kTails = {"",    "",    "\r\n", " \n\n", "\r\ntail", "<z/>", "\r\n<a ab='1'>x</a>\r\n",
                             "<z>", "</z>"};
/// What stands before an element that is spliced in, and is left out.
inline const Texts kLeads = {"", "", "<?xml version=\"1.0\"?>\r\n", "\n<!-- <no/> -->\n", "text"};
inline const Texts kBroken = {"",           "text",          "<a",      "<a>",         "<a><b></a>",
                              "</a>",       "<!-- <a/> -->", "<a></ab", "<a><!--</a>", "<Result>",
                              "<a b=\"1\"", "<a><a></a>"};
inline const Texts kSaved = {"one", "two", "three", "\xB2\xE2"};

class Chance {
 public:
  explicit Chance(unsigned seed) : random_(seed) {}
  std::size_t below(std::size_t limit) { return random_() % limit; }
  bool half() { return below(2) == 0; }
  const std::string& of(const Texts& list) { return list[below(list.size())]; }
  /// A name, or at times any.
  std::string wanted() { return below(3) == 0 ? "" : of(kNames); }
  int number() { return static_cast<int>(below(20000)) - 10000; }

  std::unique_ptr<ModelNode> element(int depth) {
    auto node = std::make_unique<ModelNode>();
    node->name = of(kNames);
    node->tag = "<" + node->name;
    for (const std::string& name : kNames) {
      if (below(4) != 0) continue;
      do {
        node->tag += attribute(name);
      } while (below(8) == 0);
    }
    if (below(4) == 0) node->tag += " ";
    if (below(3) == 0) return node;
    // A '>' in quotes ends the tag, and what stands behind it is content.
    std::string rest;
    if (below(6) == 0) {
      const std::string mark = half() ? "\"" : "'";
      node->tag += " " + of(kNames) + "=" + mark + of({"", "x", "<b", "&#65;"});
      rest = of({"", "y", " ab=1 "}) + mark + ">";
    }
    node->open(rest + of(kGaps));
    node->end_tag.insert(node->end_tag.size() - 1, of({"", "", "", " ", "\r\n"}));
    for (std::size_t left = depth == 0 ? 0 : below(4); left > 0; --left) {
      node->splice(node->children.size(), node->gaps.back().size(), element(depth - 1), of(kGaps));
    }
    return node;
  }
  /// A whole document, most of the time with a root.
  void fill(EditModel& model) {
    model.top.empty = false;
    model.top.gaps = {of(kHeaders)};
    model.top.children.clear();
    if (below(4) != 0) model.top.splice(0, model.top.gaps[0].size(), element(3), of(kTails));
    model.forget_position();
  }

 private:
  std::string attribute(const std::string& name) {
    const std::string start = (half() ? " " : "\r\n ") + name + (half() ? "=" : " =\t");
    if (below(8) == 0) return start + of(kUnquoted);
    const std::string mark = half() ? "\"" : "'";
    return start + mark + (below(4) == 0 ? of(kForeign) : escaped(of(kValues), true)) + mark;
  }

  std::mt19937 random_;
};

}  // namespace xml_support
