// Building by chance: thousands of additions and moves, held against a plain tree and against fresh parses.
#include <gtest/gtest.h>

#include <cstddef>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "tests/xmldocument/xml_support.h"

namespace {

using xml_support::walk;
using xml_support::walk_of_fresh_parse;

const std::string kHeader = "<?xml version=\"1.0\" encoding=\"GBK\"?>\r\n";

struct Node {
  std::string name;
  std::string data;
  Node* parent = nullptr;
  std::vector<std::unique_ptr<Node>> children;
};

std::string escaped(const std::string& data) {
  std::string text;
  for (const char c : data)
    text += c == '<' ? "&lt;" : c == '>' ? "&gt;" : c == '&' ? "&amp;" : std::string(1, c);
  return text;
}

std::string written(const Node& node) {
  if (node.children.empty() && node.data.empty()) return "<" + node.name + "/>\r\n";
  std::string text = "<" + node.name + ">" + escaped(node.data);
  if (node.data.empty()) text += "\r\n";
  for (const auto& child : node.children) text += written(*child);
  return text + "</" + node.name + ">\r\n";
}

/// A plain tree with the position of a document: what the document must be equal to after each call.
class Model {
 public:
  bool add_sibling(const std::string& name, const std::string& data) {
    if (level_ == &top_ && !top_.children.empty()) return false;
    main_ = add(level_, main_, name, data);
    child_ = nullptr;
    return true;
  }
  bool add_child(const std::string& name, const std::string& data) {
    if (main_ == nullptr) return false;
    child_ = add(main_, child_, name, data);
    return true;
  }
  bool find(const std::string& name) {
    Node* const found = behind(level_, main_, name);
    if (found == nullptr) return false;
    main_ = found;
    child_ = nullptr;
    return true;
  }
  bool find_child(const std::string& name) {
    Node* const found = behind(main_, child_, name);
    if (found == nullptr) return false;
    child_ = found;
    return true;
  }
  bool into() {
    if (main_ == nullptr) return false;
    level_ = main_;
    main_ = child_;
    child_ = nullptr;
    return true;
  }
  bool out() {
    if (level_ == &top_) return false;
    child_ = main_;
    main_ = level_;
    level_ = level_->parent;
    return true;
  }
  void reset_main() { main_ = child_ = nullptr; }
  void reset_child() { child_ = nullptr; }

  bool has_main() const { return main_ != nullptr; }
  std::string tag_name() const { return main_ == nullptr ? "" : main_->name; }
  std::string child_data() const {
    return child_ == nullptr || !child_->children.empty() ? "" : child_->data;
  }
  std::string text() const { return top_.children.empty() ? "" : written(*top_.children.front()); }

  Model() = default;
  Model(const Model&) = delete;
  Model& operator=(const Model&) = delete;

 private:
  static std::size_t place_behind(const Node* level, const Node* reference) {
    std::size_t place = 0;
    while (reference != nullptr && level->children[place++].get() != reference) {
    }
    return place;
  }
  static Node* add(Node* level, const Node* reference, const std::string& name, const std::string& data) {
    const std::size_t place = reference == nullptr ? level->children.size() : place_behind(level, reference);
    auto node = std::make_unique<Node>();
    node->name = name;
    node->data = data;
    node->parent = level;
    return level->children
        .insert(level->children.begin() + static_cast<std::ptrdiff_t>(place), std::move(node))
        ->get();
  }
  static Node* behind(const Node* level, const Node* reference, const std::string& name) {
    for (std::size_t i = place_behind(level, reference); i < level->children.size(); ++i) {
      if (name.empty() || level->children[i]->name == name) return level->children[i].get();
    }
    return nullptr;
  }

  Node top_;
  Node* level_ = &top_;
  Node* main_ = nullptr;
  Node* child_ = nullptr;
};

const std::vector<std::string> kNames = {"a", "ab", "abc", "Result", "ResultItem", "\xB2\xE2\xCA\xD4"};
const std::vector<std::string> kData = {"",   "",     "1",    "text", "a<b>&c",           "\"it's\"",
                                        "  ", "\r\n", "&lt;", "]]>",  "\xB2\xE2\xCA\xD4", "\x81\x5C"};

class Chance {
 public:
  explicit Chance(unsigned seed) : random_(seed) {}
  std::size_t below(std::size_t limit) { return random_() % limit; }
  const std::string& of(const std::vector<std::string>& list) { return list[below(list.size())]; }

 private:
  std::mt19937 random_;
};

class XmlBuildModelTest : public testing::TestWithParam<unsigned> {};

TEST_P(XmlBuildModelTest, ADocumentBuiltByChanceEqualsAPlainTreeAndItsOwnFreshParse) {
  Chance chance(GetParam());
  XmlDocument doc;
  Model model;
  const std::string header = GetParam() % 2 == 0 ? kHeader : "";
  doc.SetDoc(header.c_str());
  for (int step = 0; step < 150; ++step) {
    const std::string& name = chance.of(kNames);
    const std::string& data = chance.of(kData);
    const std::string wanted = chance.below(3) == 0 ? "" : name;
    switch (chance.below(13)) {
      case 0:
      case 1:
        ASSERT_EQ(doc.AddElem(name.c_str(), data.c_str()), model.add_sibling(name, data));
        break;
      case 2:
      case 3:
      case 4:
        ASSERT_EQ(doc.AddChildElem(name.c_str(), data.c_str()), model.add_child(name, data));
        break;
      case 5:
      case 6:
        ASSERT_EQ(doc.IntoElem(), model.into());
        break;
      case 7:
        ASSERT_EQ(doc.OutOfElem(), model.out());
        break;
      case 8:
        ASSERT_EQ(doc.FindElem(wanted.c_str()), model.find(wanted));
        break;
      case 9:
      case 10:
        if (model.has_main()) {
          ASSERT_EQ(doc.FindChildElem(wanted.c_str()), model.find_child(wanted));
        }
        break;
      case 11:
        doc.ResetChildPos();
        model.reset_child();
        break;
      default:
        doc.ResetMainPos();
        model.reset_main();
        break;
    }
    ASSERT_EQ(doc.GetTagName(), model.tag_name()) << "step " << step;
    ASSERT_EQ(doc.GetChildData(), model.child_data()) << "step " << step;
    ASSERT_EQ(doc.GetDoc(), header + model.text()) << "step " << step;
    ASSERT_EQ(walk(doc), walk_of_fresh_parse(doc.GetDoc())) << "step " << step;
  }
}

/// Foreign documents are not written the way the board writes: any layout, and nodes that are not indexed.
const std::vector<std::string> kForeign = {
    "<r/>",
    "<r></r>",
    "< r />\n",
    "<r>text</r>",
    "<r><a/><ab/></r>tail<x>",
    "<!-- <x> -->\n<r x=\"1\">\n  <a y='2'/>\n  <ab>\n    <abc>1</abc> text\n  </ab>\n</r>\n",
    "<?xml version=\"1.0\"?><!DOCTYPE r [<!ELEMENT r>]><r><![CDATA[<a>]]><a></a><!-- <ab/> --> <ab />\t</r >",
    "<r><a>1</a > <a><a><a/></a></a>\r\n\r\n<Result>x<ResultItem/>y</Result></r \"z\">\r\n",
    "<r q=\">\"><a q=\"/>\"></r>",
};

TEST_P(XmlBuildModelTest, ADocumentFromAnywhereThatElementsAreAddedToKeepsTheIndexOfItsFreshParse) {
  for (const std::string& text : kForeign) {
    Chance chance(GetParam());
    XmlDocument doc;
    ASSERT_TRUE(doc.SetDoc(text.c_str())) << text << doc.m_strError;
    ASSERT_EQ(doc.GetDoc(), text);
    for (int step = 0; step < 60; ++step) {
      const std::string& name = chance.of(kNames);
      const std::string& data = chance.of(kData);
      switch (chance.below(9)) {
        case 0:
          doc.AddElem(name.c_str(), data.c_str());
          break;
        case 1:
          doc.AddChildElem(name.c_str(), data.c_str());
          break;
        case 2:
          doc.AddChildElem(name.c_str(), step);
          break;
        case 3:
          doc.IntoElem();
          break;
        case 4:
          doc.OutOfElem();
          break;
        case 5:
          doc.ResetPos();
          break;
        case 6:
          doc.FindElem();
          break;
        default:
          doc.FindChildElem();
          break;
      }
      ASSERT_EQ(walk(doc), walk_of_fresh_parse(doc.GetDoc())) << "from " << text << " now " << doc.GetDoc();
    }
    EXPECT_GT(doc.GetDoc().size(), text.size());
  }
}

INSTANTIATE_TEST_SUITE_P(FixedSeeds, XmlBuildModelTest, testing::Range(0U, 40U));

TEST(XmlBuildLargeTest, AListOf20000LinesIsBuiltInPlace) {
  XmlDocument doc;
  ASSERT_TRUE(doc.AddElem("r"));
  std::string text = "<r>\r\n";
  for (int i = 0; i < 20000; ++i) {
    ASSERT_TRUE(doc.AddChildElem("n", i));
    text += "<n>" + std::to_string(i) + "</n>\r\n";
  }
  EXPECT_EQ(doc.GetDoc(), text + "</r>\r\n");
  EXPECT_EQ(walk(doc), walk_of_fresh_parse(doc.GetDoc()));
  // Growing by half, an index is never more than half again as large as what it holds.
  EXPECT_LE(doc.m_aPos.size(), 3U * 20002U / 2U);
}

TEST(XmlBuildLargeTest, ANestOf1000LevelsIsBuiltFromTheOutside) {
  XmlDocument doc;
  ASSERT_TRUE(doc.AddElem("n"));
  for (int level = 1; level < 1000; ++level) {
    ASSERT_TRUE(doc.AddChildElem("n"));
    ASSERT_TRUE(doc.IntoElem());
  }
  EXPECT_EQ(doc.GetDoc(),
            xml_support::repeated("<n>\r\n", 999) + "<n/>\r\n" + xml_support::repeated("</n>\r\n", 999));
  EXPECT_EQ(walk(doc), walk_of_fresh_parse(doc.GetDoc()));
}

}  // namespace
