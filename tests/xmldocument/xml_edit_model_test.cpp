// Editing by chance: thousands of operations of every kind, held against a plain model and fresh parses.
#include <gtest/gtest.h>

#include <cstddef>
#include <memory>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "tests/xmldocument/xml_edit_model.h"
#include "tests/xmldocument/xml_edit_support.h"

namespace {

using xml_support::EditDocument;
using xml_support::EditModel;
using xml_support::escaped;
using xml_support::kGbkText;
using xml_support::ModelNode;
using xml_support::Trace;
using xml_support::walk;
using xml_support::walk_of_fresh_parse;

using Texts = std::vector<std::string>;

const Texts kNames = {"a", "ab", "abc", "Result", "\xB2\xE2\xCA\xD4"};
const Texts kData = {
    "",        "1",   "text", "a<b>&c", "\"it's\"",     "  \r\n", "&lt;",
    "x]]>y<z", "]]>", "]]",   kGbkText, "<![CDATA[<x>", "-->",    "a longer text for a long way"};
const Texts kValues = {"", "1", "say \"x\"", "it's", "<>&", "/dev/x", "=", "?", "a b", kGbkText, "&quot;"};
/// Text between elements, as foreign documents have it.
const Texts kGaps = {"",
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
                     "\r\n<?p i?>"};
const Texts kHeaders = {"", "<?xml version=\"1.0\" encoding=\"GBK\"?>\r\n", "<!-- <x> -->",
                        "\r\n<!DOCTYPE r>\n"};
const Texts kTails = {"", "", "\r\n", " \n\n", "\r\ntail"};
/// What stands before an element that is spliced in, and is left out.
const Texts kLeads = {"", "", "<?xml version=\"1.0\"?>\r\n", "\n<!-- <no/> -->\n", "text"};
const Texts kBroken = {"",           "text",          "<a",      "<a>",         "<a><b></a>",
                       "</a>",       "<!-- <a/> -->", "<a></ab", "<a><!--</a>", "<Result>",
                       "<a b=\"1\"", "<a><a></a>"};
const Texts kSaved = {"one", "two", "three", "\xB2\xE2"};

class Chance {
 public:
  explicit Chance(unsigned seed) : random_(seed) {}
  std::size_t below(std::size_t limit) { return random_() % limit; }
  bool half() { return below(2) == 0; }
  const std::string& of(const Texts& list) { return list[below(list.size())]; }
  /// A name, or at times any.
  std::string wanted() { return below(3) == 0 ? "" : of(kNames); }

  std::unique_ptr<ModelNode> element(int depth) {
    auto node = std::make_unique<ModelNode>();
    node->name = of(kNames);
    for (const std::string& name : kNames) {
      if (below(4) != 0) continue;
      const std::string equals = half() ? "=" : " =\t";
      node->attribs.push_back({half() ? " " : "\r\n ", name, equals, half() ? '"' : '\'', value()});
    }
    if (below(4) == 0) node->blanks = " ";
    if (below(3) == 0) return node;
    node->empty = false;
    node->gaps = {of(kGaps)};
    for (std::size_t left = depth == 0 ? 0 : below(4); left > 0; --left) {
      node->splice(node->children.size(), node->gaps.back().size(), element(depth - 1), of(kGaps));
    }
    return node;
  }

 private:
  std::string value() { return escaped(of(kValues), true); }

  std::mt19937 random_;
};

/// A document and its model, and the operations that are done to both.
class EditedByChance {
 public:
  explicit EditedByChance(unsigned seed) : chance_(seed) {
    model_.top.empty = false;
    model_.top.gaps = {chance_.of(kHeaders)};
    if (chance_.below(4) != 0) model_.top.splice(0, model_.top.gaps[0].size(), chance_.element(3), tail());
    doc_.SetDoc(model_.text().c_str());
  }

  void step() {
    const std::string before = doc_.GetDoc();
    const std::vector<xml_support::Visit> visits = walk(doc_);
    const std::size_t kind = chance_.below(20);
    if (kind < 8)
      edit(kind);
    else if (kind < 18)
      move(kind);
    else if (kind < 19)
      refuse();
    else
      copy();
    if (HasFailure()) return;
    compare();
    if (doc_.GetDoc() == before) {
      EXPECT_EQ(walk(doc_), visits) << "same text, same index";
    }
  }
  std::string text() const { return doc_.GetDoc(); }

 private:
  static bool HasFailure() { return testing::Test::HasFailure(); }
  std::string tail() { return chance_.of(kTails); }

  void edit(std::size_t kind) {
    const std::string& name = chance_.of(kNames);
    const std::string& data = chance_.of(kData);
    const std::string& value = chance_.of(kValues);
    const bool child = chance_.half();
    const bool insert = chance_.half();
    ModelNode* const node = child ? model_.at.child : model_.at.main;
    if (kind < 2) {
      EXPECT_EQ(add(name, data, insert, child),
                model_.add(written_by_board(name, data), "\r\n", insert, child));
    } else if (kind < 4) {
      auto element = chance_.element(2);
      const std::string behind = chance_.of({"", "\r\n", " \t\n"});
      const std::string sub_doc = chance_.of(kLeads) + element->written() + behind;
      EXPECT_EQ(splice(sub_doc, insert, child), model_.add(std::move(element), behind, insert, child))
          << sub_doc;
    } else if (kind < 5) {
      EXPECT_EQ(child ? doc_.SetChildData(data.c_str(), insert) : doc_.SetData(data.c_str(), insert),
                model_.set_data(node, data, insert));
    } else if (kind < 7) {
      EXPECT_EQ(child ? doc_.SetChildAttrib(name.c_str(), value.c_str())
                      : doc_.SetAttrib(name.c_str(), value.c_str()),
                model_.set_attrib(node, name, value));
    } else {
      EXPECT_EQ(child ? doc_.RemoveChildElem() : doc_.RemoveElem(), model_.remove(child));
    }
  }

  void move(std::size_t kind) {
    const std::string wanted = chance_.wanted();
    const std::string& name = chance_.of(kSaved);
    switch (kind) {
      case 8:
      case 9:
        EXPECT_EQ(doc_.FindElem(wanted.c_str()), model_.find(wanted));
        break;
      case 10:
      case 11:
      case 12:
        if (model_.at.main == nullptr) break;
        EXPECT_EQ(doc_.FindChildElem(wanted.c_str()), model_.find_child(wanted));
        break;
      case 13:
        EXPECT_EQ(doc_.IntoElem(), model_.into());
        break;
      case 14:
        EXPECT_EQ(doc_.OutOfElem(), model_.out());
        break;
      case 15:
        doc_.ResetChildPos();
        model_.at.child = nullptr;
        if (chance_.half()) break;
        doc_.ResetMainPos();
        model_.at.main = nullptr;
        break;
      case 16:
        EXPECT_TRUE(doc_.SavePos(name.c_str()));
        model_.saved[name] = model_.at;
        model_.gone.erase(name);
        break;
      default:
        // What a name whose elements are gone gives is a matter of its own.
        if (model_.gone.count(name) == 0) {
          EXPECT_EQ(doc_.RestorePos(name.c_str()), model_.restore(name));
        }
        break;
    }
  }

  /// Calls that fail wherever the position is: the document is as before.
  void refuse() {
    const Trace before(doc_);
    const std::string& broken = chance_.of(kBroken);
    EXPECT_FALSE(splice(broken, chance_.half(), chance_.half())) << broken;
    EXPECT_FALSE(doc_.AddElem(""));
    EXPECT_FALSE(doc_.InsertChildElem(nullptr, "data"));
    EXPECT_FALSE(doc_.RestorePos("unknown"));
    EXPECT_FALSE(doc_.SavePos(nullptr));
    EXPECT_FALSE(doc_.Save("/dev/full") && !doc_.GetDoc().empty());
    EXPECT_EQ(Trace(doc_), before) << broken;
  }

  /// An assignment goes unnoticed; parsing the text anew only resets the position.
  void copy() {
    EditDocument other;
    other = doc_;
    EXPECT_EQ(Trace(other), Trace(doc_));
    other.RemoveElem();
    other.AddElem("other");
    compare();
    if (chance_.half()) return;
    EXPECT_EQ(doc_.SetDoc(doc_.GetDoc().c_str()), !model_.top.children.empty());
    model_.reset();
    model_.saved.clear();
    model_.gone.clear();
  }

  static std::unique_ptr<ModelNode> written_by_board(const std::string& name, const std::string& data) {
    auto node = std::make_unique<ModelNode>();
    node->name = name;
    node->empty = data.empty();
    node->gaps = {escaped(data)};
    return node;
  }
  bool add(const std::string& name, const std::string& data, bool insert, bool child) {
    if (child) {
      return insert ? doc_.InsertChildElem(name.c_str(), data.c_str())
                    : doc_.AddChildElem(name.c_str(), data.c_str());
    }
    return insert ? doc_.InsertElem(name.c_str(), data.c_str()) : doc_.AddElem(name.c_str(), data.c_str());
  }
  bool splice(const std::string& text, bool insert, bool child) {
    if (child) return insert ? doc_.InsertChildSubDoc(text.c_str()) : doc_.AddChildSubDoc(text.c_str());
    return insert ? doc_.InsertSubDoc(text.c_str()) : doc_.AddSubDoc(text.c_str());
  }

  void compare() {
    ASSERT_EQ(doc_.GetDoc(), model_.text());
    ASSERT_EQ(walk(doc_), walk_of_fresh_parse(doc_.GetDoc()));
    ASSERT_EQ(doc_.IsWellFormed(), !model_.top.children.empty());
    ModelNode* const main = model_.at.main;
    ModelNode* const child = model_.at.child;
    ASSERT_EQ(doc_.GetTagName(), main == nullptr ? "" : main->name);
    ASSERT_EQ(doc_.GetSubDoc(), EditModel::sub_doc(main));
    ASSERT_EQ(doc_.GetChildSubDoc(), EditModel::sub_doc(child));
    ASSERT_EQ(doc_.GetChildData(), EditModel::data(child));
    for (const std::string& name : kNames) {
      ASSERT_EQ(doc_.GetAttrib(name.c_str()), EditModel::attrib(main, name)) << name;
      ASSERT_EQ(doc_.GetChildAttrib(name.c_str()), EditModel::attrib(child, name)) << name;
    }
    const std::size_t count = main == nullptr ? 0 : main->attribs.size();
    for (std::size_t n = 0; n < count; ++n) {
      ASSERT_EQ(doc_.GetAttribName(static_cast<int>(n)), main->attribs[n].name);
    }
    ASSERT_EQ(doc_.GetAttribName(static_cast<int>(count)), "");
  }

  Chance chance_;
  EditModel model_;
  EditDocument doc_;
};

class XmlEditModelTest : public testing::TestWithParam<unsigned> {};

TEST_P(XmlEditModelTest, ADocumentEditedByChanceEqualsAPlainModelAndItsOwnFreshParse) {
  EditedByChance edited(GetParam());
  for (int step = 0; step < 200; ++step) {
    edited.step();
    ASSERT_FALSE(HasFailure()) << "step " << step << ": " << edited.text();
  }
}

/// One operation of any kind, wherever the position is.
void edit_anywhere(EditDocument& doc, Chance& chance) {
  const std::string& name = chance.of(kNames);
  const std::string& data = chance.of(kData);
  const std::string element = chance.element(1)->written();
  switch (chance.below(22)) {
    case 0:
      doc.AddElem(name.c_str(), data.c_str());
      break;
    case 1:
      doc.InsertElem(name.c_str(), data.c_str());
      break;
    case 2:
      doc.AddChildElem(name.c_str(), 7);
      break;
    case 3:
      doc.InsertChildElem(name.c_str(), -7);
      break;
    case 4:
      doc.AddSubDoc(element.c_str());
      break;
    case 5:
      doc.InsertSubDoc(element.c_str());
      break;
    case 6:
      doc.AddChildSubDoc(element.c_str());
      break;
    case 7:
      doc.InsertChildSubDoc(chance.of(kBroken).c_str());
      break;
    case 8:
      doc.SetData(data.c_str());
      break;
    case 9:
      doc.SetChildData(data.c_str(), 1);
      break;
    case 10:
      doc.SetAttrib(name.c_str(), 17);
      break;
    case 11:
      doc.SetChildAttrib(name.c_str(), data.c_str());
      break;
    case 12:
      doc.RemoveElem();
      break;
    case 13:
      doc.RemoveChildElem();
      break;
    case 14:
      doc.FindElem(chance.wanted().c_str());
      break;
    case 15:
      doc.FindChildElem(chance.wanted().c_str());
      break;
    case 16:
      doc.IntoElem();
      break;
    case 17:
      doc.OutOfElem();
      break;
    case 18:
      doc.SavePos(chance.of(kSaved).c_str());
      break;
    default:
      doc.RestorePos(chance.of(kSaved).c_str());
      break;
  }
}

TEST_P(XmlEditModelTest, PositionsThatAreStaleDoNoHarmWhateverIsDoneThere) {
  Chance chance(GetParam());
  EditDocument docs[2];
  docs[0].SetDoc((chance.of(kHeaders) + chance.element(3)->written()).c_str());
  for (int step = 0; step < 200; ++step) {
    EditDocument& doc = docs[chance.below(2)];
    // Names saved in one document are restored in another one's index.
    if (chance.below(25) == 0) doc = docs[chance.below(2)];
    edit_anywhere(doc, chance);
    doc.GetTagName();
    doc.GetSubDoc();
    doc.GetChildSubDoc();
    doc.GetChildData();
    doc.GetAttribName(0);
    ASSERT_EQ(walk(doc), walk_of_fresh_parse(doc.GetDoc())) << "step " << step << ": " << doc.GetDoc();
  }
}

INSTANTIATE_TEST_SUITE_P(FixedSeeds, XmlEditModelTest, testing::Range(0U, 40U));

}  // namespace
