// Editing by chance at positions that are gone: names saved before a removal, or in another document.
#include <gtest/gtest.h>

#include <string>

#include "tests/xmldocument/xml_edit_chance.h"

namespace {

using xml_support::Chance;
using xml_support::EditDocument;
using xml_support::kBroken;
using xml_support::kData;
using xml_support::kHeaders;
using xml_support::kNames;
using xml_support::kSaved;
using xml_support::walk;
using xml_support::walk_of_fresh_parse;

/// One step to another place, or a saved position.
void move_anywhere(EditDocument& doc, Chance& chance) {
  switch (chance.below(8)) {
    case 0:
      doc.FindElem(chance.wanted().c_str());
      break;
    case 1:
      doc.FindChildElem(chance.wanted().c_str());
      break;
    case 2:
      doc.IntoElem();
      break;
    case 3:
      doc.OutOfElem();
      break;
    case 4:
      doc.SavePos(chance.of(kSaved).c_str());
      break;
    default:
      doc.RestorePos(chance.of(kSaved).c_str());
      break;
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
    default:
      move_anywhere(doc, chance);
      break;
  }
}

class XmlEditStaleTest : public testing::TestWithParam<unsigned> {};

TEST_P(XmlEditStaleTest, PositionsThatAreStaleDoNoHarmWhateverIsDoneThere) {
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

INSTANTIATE_TEST_SUITE_P(FixedSeeds, XmlEditStaleTest, testing::Range(0U, 40U));

}  // namespace
