// Editing by chance: thousands of operations of every kind, held against a plain model and fresh parses.
#include <gtest/gtest.h>

#include <cstddef>
#include <functional>
#include <iterator>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "tests/harness/own_directory.h"
#include "tests/xmldocument/xml_edit_chance.h"
#include "tests/xmldocument/xml_edit_model.h"
#include "tests/xmldocument/xml_support.h"

namespace {

using xml_support::Chance;
using xml_support::EditModel;
using xml_support::escaped;
using xml_support::kBroken;
using xml_support::kData;
using xml_support::kHeaders;
using xml_support::kLeads;
using xml_support::kNames;
using xml_support::kSaved;
using xml_support::kValues;
using xml_support::ModelNode;
using xml_support::OpenDocument;
using xml_support::Texts;
using xml_support::Trace;
using xml_support::walk;
using xml_support::walk_of_fresh_parse;

/// A document and its model, and the operations that are done to both.
class EditedByChance {
 public:
  /// `file` is one to save in.
  EditedByChance(unsigned seed, std::string file) : chance_(seed), file_(std::move(file)) { start_over(); }

  void step() {
    const std::string before = doc_.GetDoc();
    const std::vector<xml_support::Visit> visits = walk(doc_);
    const std::size_t kind = chance_.below(26);
    if (kind < 12)
      edit(kind);
    else if (kind < 23)
      move(kind);
    else if (kind < 24)
      refuse();
    else if (kind < 25)
      copy();
    else
      renew();
    if (HasFailure()) return;
    compare();
    if (doc_.GetDoc() == before && kind < 24) {
      EXPECT_EQ(walk(doc_), visits) << "same text, same index";
    }
  }
  std::string text() const { return doc_.GetDoc(); }

 private:
  static bool HasFailure() { return testing::Test::HasFailure(); }

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
    } else if (kind < 3) {
      const int number = chance_.number();
      EXPECT_EQ(insert ? doc_.InsertChildElem(name.c_str(), number) : doc_.AddChildElem(name.c_str(), number),
                model_.add(written_by_board(name, std::to_string(number)), "\r\n", insert, true));
    } else if (kind < 6) {
      auto element = chance_.element(2);
      const std::string behind = chance_.of({"", "\r\n", " \t\n"});
      const std::string sub_doc = chance_.of(kLeads) + element->written() + behind;
      EXPECT_EQ(splice(sub_doc, insert, child), model_.add(std::move(element), behind, insert, child))
          << sub_doc;
    } else if (kind < 7) {
      EXPECT_EQ(child ? doc_.SetChildData(data.c_str(), insert) : doc_.SetData(data.c_str(), insert),
                model_.set_data(node, data, insert));
    } else if (kind < 9) {
      EXPECT_EQ(child ? doc_.SetChildAttrib(name.c_str(), value.c_str())
                      : doc_.SetAttrib(name.c_str(), value.c_str()),
                model_.set_attrib(node, name, value));
    } else if (kind < 10) {
      const int number = chance_.number();
      EXPECT_EQ(child ? doc_.SetChildAttrib(name.c_str(), number) : doc_.SetAttrib(name.c_str(), number),
                model_.set_attrib(node, name, std::to_string(number)));
    } else {
      EXPECT_EQ(child ? doc_.RemoveChildElem() : doc_.RemoveElem(), model_.remove(child));
    }
  }

  void move(std::size_t kind) {
    const std::string wanted = chance_.wanted();
    const std::string& name = chance_.of(kSaved);
    switch (kind) {
      case 12:
      case 13:
        EXPECT_EQ(doc_.FindElem(wanted.c_str()), model_.find(wanted));
        break;
      case 14:
      case 15:
      case 16:
        if (model_.at.main == nullptr) break;
        EXPECT_EQ(doc_.FindChildElem(wanted.c_str()), model_.find_child(wanted));
        break;
      case 17:
        EXPECT_EQ(doc_.IntoElem(), model_.into());
        break;
      case 18:
        EXPECT_EQ(doc_.OutOfElem(), model_.out());
        break;
      case 19:
        doc_.ResetChildPos();
        model_.at.child = nullptr;
        if (chance_.half()) break;
        doc_.ResetMainPos();
        model_.at.main = nullptr;
        if (chance_.half()) break;
        doc_.ResetPos();
        model_.reset();
        break;
      case 20:
      case 21:
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

  /// Another document, assigned from this one, is alike and then apart; this one does not notice.
  void copy() {
    OpenDocument other;
    other = doc_;
    other.m_strError = doc_.m_strError;  // all that is not taken over, with the names
    EXPECT_EQ(Trace(other), Trace(doc_));
    other.RemoveElem();
    other.AddElem("other");
  }

  /// Another text, or the same one anew: parsed, by way of a file, or from another document.
  void renew() {
    // Parsed anew, an element that was left behind a removed root would be the root.
    const bool same = walk(doc_) == walk_of_fresh_parse(doc_.GetDoc());
    const bool root = !model_.top.children.empty();
    const std::size_t way = chance_.below(4);
    if (way == 0) {
      assign();
    } else if (way == 1 || !same) {
      const std::string& broken = chance_.of(kBroken);
      EXPECT_FALSE(doc_.SetDoc(broken.c_str()));
      EXPECT_EQ(doc_.GetDoc(), broken);
      EXPECT_FALSE(doc_.IsWellFormed() || doc_.FindElem() || doc_.RestorePos(kSaved[0].c_str()));
      start_over();
    } else if (way == 2) {
      EXPECT_EQ(doc_.SetDoc(doc_.GetDoc().c_str()), root);
      model_.forget_position();
    } else {
      const Trace before(doc_);
      EXPECT_TRUE(doc_.Save(file_.c_str()));
      EXPECT_EQ(Trace(doc_), before);
      EXPECT_EQ(doc_.Load(file_.c_str()), root);
      if (!root) model_.top.gaps = {""};
      model_.forget_position();
    }
  }

  void start_over() {
    chance_.fill(model_);
    EXPECT_EQ(doc_.SetDoc(model_.text().c_str()), !model_.top.children.empty());
  }

  /// Text, index and position of another document; the error text and the names stay.
  void assign() {
    EditModel source;
    chance_.fill(source);
    OpenDocument other;
    other.SetDoc(source.text().c_str());
    for (std::size_t steps = chance_.below(4); steps > 0; --steps) {
      EXPECT_EQ(other.FindElem(), source.find(""));
      if (source.at.main == nullptr) break;
      EXPECT_EQ(other.FindChildElem(), source.find_child(""));
      if (chance_.half()) {
        EXPECT_EQ(other.IntoElem(), source.into());
      }
    }
    const std::string error = doc_.m_strError;
    doc_ = other;
    model_.take_over(source);
    EXPECT_EQ(doc_.m_strError, error);
  }

  static std::unique_ptr<ModelNode> written_by_board(const std::string& name, const std::string& data) {
    auto node = std::make_unique<ModelNode>();
    node->name = name;
    node->tag = "<" + name;
    if (!data.empty()) node->open(escaped(data));
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
    ASSERT_EQ(walk(doc_), walk_of_fresh_parse(model_.indexed_text()));
    ASSERT_EQ(doc_.IsWellFormed(), !model_.top.children.empty());
    ModelNode* const main = model_.at.main;
    ModelNode* const child = model_.at.child;
    ASSERT_EQ(doc_.GetTagName(), main == nullptr ? "" : main->name);
    ASSERT_EQ(doc_.GetSubDoc(), EditModel::sub_doc(main));
    ASSERT_EQ(doc_.GetChildSubDoc(), EditModel::sub_doc(child));
    ASSERT_EQ(doc_.GetChildData(), EditModel::data(child));
    for (const std::string& name : kNames) {
      ASSERT_EQ(doc_.GetAttrib(name.c_str()), model_.attrib(main, name)) << name;
      ASSERT_EQ(doc_.GetChildAttrib(name.c_str()), model_.attrib(child, name)) << name;
    }
    const Texts names = model_.attrib_names(main);
    for (std::size_t n = 0; n <= names.size(); ++n) {
      ASSERT_EQ(doc_.GetAttribName(static_cast<int>(n)), n < names.size() ? names[n] : "") << n;
    }
  }

  Chance chance_;
  std::string file_;
  EditModel model_;
  OpenDocument doc_;
};

class XmlEditModelTest : public testing::TestWithParam<unsigned> {
 protected:
  const OwnDirectory directory;
};

INSTANTIATE_TEST_SUITE_P(FixedSeeds, XmlEditModelTest, testing::Range(0U, 40U));

TEST_P(XmlEditModelTest, ADocumentEditedByChanceEqualsAPlainModelAndItsOwnFreshParse) {
  EditedByChance edited(GetParam(), directory.file("saved.xml"));
  for (int step = 0; step < 200; ++step) {
    edited.step();
    ASSERT_FALSE(HasFailure()) << "step " << step << ": " << edited.text();
  }
}

// --- Positions that are gone: names saved before a removal, or in another document ---

/// One operation of any kind, wherever the position is; many of them move it.
void edit_anywhere(OpenDocument& doc, Chance& chance) {
  const std::string& name = chance.of(kNames);
  const std::string& data = chance.of(kData);
  const std::string element = chance.element(1)->written();
  const std::function<void()> operations[] = {
      [&] { doc.AddElem(name.c_str(), data.c_str()); },
      [&] { doc.InsertElem(name.c_str(), data.c_str()); },
      [&] { doc.AddChildElem(name.c_str(), 7); },
      [&] { doc.InsertChildElem(name.c_str(), -7); },
      [&] { doc.AddSubDoc(element.c_str()); },
      [&] { doc.InsertSubDoc(element.c_str()); },
      [&] { doc.AddChildSubDoc(element.c_str()); },
      [&] { doc.InsertChildSubDoc(chance.of(kBroken).c_str()); },
      [&] { doc.SetData(data.c_str()); },
      [&] { doc.SetChildData(data.c_str(), 1); },
      [&] { doc.SetAttrib(name.c_str(), 17); },
      [&] { doc.SetChildAttrib(name.c_str(), data.c_str()); },
      [&] { doc.RemoveElem(); },
      [&] { doc.RemoveChildElem(); },
      [&] { doc.FindElem(chance.wanted().c_str()); },
      [&] { doc.FindChildElem(chance.wanted().c_str()); },
      [&] { doc.IntoElem(); },
      [&] { doc.OutOfElem(); },
      [&] { doc.SavePos(chance.of(kSaved).c_str()); },
  };
  const std::size_t operation = chance.below(std::size(operations) + 5);
  if (operation < std::size(operations)) {
    operations[operation]();
  } else {
    doc.RestorePos(chance.of(kSaved).c_str());
  }
}

TEST_P(XmlEditModelTest, PositionsThatAreStaleDoNoHarmWhateverIsDoneThere) {
  Chance chance(GetParam());
  OpenDocument docs[2];
  docs[0].SetDoc((chance.of(kHeaders) + chance.element(3)->written()).c_str());
  for (int step = 0; step < 200; ++step) {
    OpenDocument& doc = docs[chance.below(2)];
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

}  // namespace
