// The element index: its records, how many entries it reserves, how it grows, and documents a million deep.
#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <string>
#include <type_traits>
#include <vector>

#include "tests/xmldocument/xml_support.h"

namespace {

using xml_support::child_of;
using xml_support::entry;
using xml_support::Fields;
using xml_support::fields_of;
using xml_support::next_of;
using xml_support::Place;
using xml_support::repeated;
using xml_support::root_of;
using xml_support::walk;

/// The size of an index that has `reserved` entries and grows by half until entry `last` exists.
std::size_t grown_to_hold(std::size_t reserved, std::size_t last) {
  while (reserved <= last) reserved += reserved / 2;
  return reserved;
}

// --- The records ---

TEST(XmlIndexTest, AnIndexEntryIsEightWordsOf32BitsAndADocumentCanBeDerivedFrom) {
  EXPECT_EQ(sizeof(ElemPos), 32U);
  EXPECT_TRUE((std::is_same_v<decltype(ElemPos::nStartL), std::int32_t>));
  EXPECT_TRUE((std::is_same_v<decltype(ElemPos::iElemNext), std::int32_t>));
  EXPECT_TRUE(std::has_virtual_destructor_v<XmlDocument>);
}

TEST(XmlIndexTest, AnIndexEntryIsAllZeroWhenItIsNewOrClearedAndItsStartAndEndAreShiftedApart) {
  ElemPos elem;
  EXPECT_EQ(fields_of(elem), Fields{});
  elem = {10, 20, 30, 40, 5, 6, 7, 8};
  elem.AdjustStart(3);
  EXPECT_EQ(fields_of(elem), (Fields{13, 23, 30, 40, 5, 6, 7, 8}));
  elem.AdjustEnd(-4);
  EXPECT_EQ(fields_of(elem), (Fields{13, 23, 26, 36, 5, 6, 7, 8}));
  elem.Clear();
  EXPECT_EQ(fields_of(elem), Fields{});
}

TEST(XmlIndexTest, AnElementIsEmptyWhenItsEndStandsRightBeforeTheEndOfItsStart) {
  ElemPos elem;
  elem.nStartR = 5;
  elem.nEndL = 4;
  EXPECT_TRUE(elem.IsEmptyElement());
  elem.nEndL = 5;
  EXPECT_FALSE(elem.IsEmptyElement());
  elem.nEndL = 6;
  EXPECT_FALSE(elem.IsEmptyElement());
}

TEST(XmlIndexTest, ACursorStandsAtTheStartOfItsTextWhenItIsNewOrCleared) {
  const char* const text = "<a/>";
  TokenPos token(text);
  EXPECT_FALSE(token.bIsString);
  for (const bool cleared : {false, true}) {
    if (cleared) token.Clear();
    EXPECT_EQ(token.nL, 0);
    EXPECT_EQ(token.nR, 0);
    EXPECT_EQ(token.nNext, 0);
    EXPECT_EQ(token.szDoc, text);
    token.nL = token.nR = token.nNext = 3;
  }
}

TEST(XmlIndexTest, ATokenMatchesItsNameAndWhatFollowsAfterABlankEqualsSlashOrSquareBracket) {
  TokenPos token("<Result>");
  token.nL = 1;
  token.nR = 6;
  for (const char* name : {"Result", "Result ", "Result=1", "Result/x", "Result[2]", "Result ResultItem"}) {
    EXPECT_TRUE(token.Match(name)) << name;
  }
  for (const char* name :
       {"", "Res", "Resulx", "result", "ResultItem", "Result>", "Result\t", "Result]", " Result"}) {
    EXPECT_FALSE(token.Match(name)) << name;
  }
}

TEST(XmlIndexTest, NodeTypesAreOneBitEach) {
  EXPECT_EQ(static_cast<int>(MNT_ELEMENT), 1);
  EXPECT_EQ(static_cast<int>(MNT_TEXT), 2);
  EXPECT_EQ(static_cast<int>(MNT_WHITESPACE), 4);
  EXPECT_EQ(static_cast<int>(MNT_CDATA_SECTION), 8);
  EXPECT_EQ(static_cast<int>(MNT_PROCESSING_INSTRUCTION), 16);
  EXPECT_EQ(static_cast<int>(MNT_COMMENT), 32);
  EXPECT_EQ(static_cast<int>(MNT_DOCUMENT_TYPE), 64);
  EXPECT_EQ(static_cast<int>(MNT_EXCLUDE_WHITESPACE), 123);
}

// --- Reserving ---

TEST(XmlIndexTest, EightEntriesAreReservedAndOneForEach64BytesOfText) {
  EXPECT_EQ(XmlDocument().m_aPos.size(), 8U);
  struct {
    std::size_t bytes, entries;
  } const rows[] = {{7, 8}, {63, 8}, {64, 9}, {127, 9}, {128, 10}, {639, 17}, {640, 18}, {1000, 23}};
  for (const auto& row : rows) {
    XmlDocument doc;
    ASSERT_TRUE(doc.SetDoc(("<a>" + std::string(row.bytes - 7, 'x') + "</a>").c_str()));
    EXPECT_EQ(doc.m_aPos.size(), row.entries) << row.bytes;
  }
}

TEST(XmlIndexTest, ATextThatDoesNotParseReservesEntriesTooAndTheIndexNeverShrinks) {
  XmlDocument doc;
  ASSERT_FALSE(doc.SetDoc(std::string(1000, 'x').c_str()));
  EXPECT_EQ(doc.m_aPos.size(), 23U);
  ASSERT_TRUE(doc.SetDoc("<a/>"));
  doc.SetDoc(nullptr);
  EXPECT_EQ(doc.m_aPos.size(), 23U);
}

// --- Growing ---

TEST(XmlIndexTest, AnIndexThatElementsFillGrowsByHalfRoundedDown) {
  XmlDocument doc;
  ASSERT_TRUE(doc.AddElem("r"));
  std::vector<std::size_t> sizes = {doc.m_aPos.size()};
  for (int added = 1; added < 60; ++added) {
    ASSERT_TRUE(doc.AddChildElem("c"));
    if (doc.m_aPos.size() != sizes.back()) {
      // Entry 0 is the document's own, so the index is full when it has one entry more than elements.
      EXPECT_EQ(static_cast<std::size_t>(added) + 1, sizes.back());
      sizes.push_back(doc.m_aPos.size());
    }
  }
  EXPECT_EQ(fields_of(doc.m_aPos.back()), Fields{}) << "an entry that no element uses";
  EXPECT_EQ(sizes, (std::vector<std::size_t>{8, 12, 18, 27, 40, 60, 90}));
}

TEST(XmlIndexTest, ParsingTakesOneEntryMoreForTheEndTagThatItMeets) {
  XmlDocument six;
  ASSERT_TRUE(six.SetDoc("<r><b/><b/><b/><b/><b/></r>"));
  EXPECT_EQ(six.m_aPos.size(), 8U);
  XmlDocument seven;
  ASSERT_TRUE(seven.SetDoc("<r><b/><b/><b/><b/><b/><b/></r>"));
  EXPECT_EQ(seven.m_aPos.size(), 12U);
}

// --- Which entries elements get ---

TEST(XmlIndexTest, EntriesTakenForEndTagsAreGivenBack) {
  XmlDocument doc;
  ASSERT_TRUE(doc.SetDoc("<a><b></b><c><d></d></c><e></e></a>"));
  EXPECT_EQ(root_of(doc), 1);
  EXPECT_EQ(child_of(doc, 1), 2);
  EXPECT_EQ(next_of(doc, 2), 3);
  EXPECT_EQ(child_of(doc, 3), 4);
  EXPECT_EQ(next_of(doc, 3), 5);
}

TEST(XmlIndexTest, AnElementAddedTakesTheNextUnusedEntry) {
  XmlDocument doc;
  ASSERT_TRUE(doc.SetDoc("<a><b/><c/></a>"));
  ASSERT_TRUE(doc.FindElem());
  ASSERT_TRUE(doc.FindChildElem("b"));
  ASSERT_TRUE(doc.AddChildElem("x"));
  EXPECT_EQ(next_of(doc, 2), 4);
  EXPECT_EQ(next_of(doc, 4), 3);
  EXPECT_EQ(entry(doc, 4).iElemParent, 1);
}

TEST(XmlIndexTest, AfterAnErrorTheIndexStartsAgainAtOne) {
  XmlDocument doc;
  ASSERT_FALSE(doc.SetDoc("<a><b/><c/><d></a>"));
  ASSERT_TRUE(doc.AddElem("r"));
  EXPECT_EQ(root_of(doc), 1);
  EXPECT_EQ(walk(doc).size(), 1U);
}

TEST(XmlIndexTest, EntriesOfAnEarlierTextLeaveNoLinks) {
  XmlDocument doc;
  ASSERT_TRUE(doc.SetDoc("<a><b><c/></b><d/></a>"));
  ASSERT_TRUE(doc.SetDoc("<a><b/></a>"));
  EXPECT_EQ(walk(doc).size(), 2U);
  doc.SetDoc(nullptr);
  ASSERT_TRUE(doc.AddElem("r"));
  EXPECT_EQ(walk(doc).size(), 1U);
}

// --- A million deep ---

constexpr std::size_t kMillion = 1000000;

TEST(XmlIndexTest, ADocumentNestedAMillionDeepParsesWithAnIndexInProportion) {
  XmlDocument doc;
  ASSERT_TRUE(doc.SetDoc((repeated("<a>", kMillion) + repeated("</a>", kMillion)).c_str()));
  const auto visits = walk(doc);
  ASSERT_EQ(visits.size(), kMillion);
  EXPECT_EQ(visits.front().place, (Place{0, 2, 6999996, 6999999}));
  EXPECT_EQ(visits.back().place, (Place{2999997, 2999999, 3000000, 3000003}));
  EXPECT_EQ(visits.back().depth, 999999);
  EXPECT_EQ(doc.m_aPos.size(), grown_to_hold(7 * kMillion / 64 + 8, kMillion + 1));
}

TEST(XmlIndexTest, AMillionUnclosedElementsEndInAnError) {
  XmlDocument doc;
  EXPECT_FALSE(doc.SetDoc(repeated("<a>", kMillion).c_str()));
  EXPECT_EQ(doc.m_strError, "Element tag not found");
  EXPECT_EQ(doc.GetDoc().size(), 3 * kMillion);
  EXPECT_FALSE(doc.IsWellFormed());
  EXPECT_EQ(doc.m_aPos.size(), grown_to_hold(3 * kMillion / 64 + 8, kMillion + 1));
}

TEST(XmlIndexTest, AMillionSiblingsAreOneChain) {
  XmlDocument doc;
  ASSERT_TRUE(doc.SetDoc(("<r>" + repeated("<a/>", kMillion) + "</r>").c_str()));
  EXPECT_EQ(walk(doc).size(), kMillion + 1);
  EXPECT_EQ(doc.m_aPos.size(), grown_to_hold((4 * kMillion + 7) / 64 + 8, kMillion + 2));
}

TEST(XmlIndexTest, ThousandsOfCommentsBeforeTheRootTakeNoEntries) {
  XmlDocument doc;
  ASSERT_TRUE(doc.SetDoc((repeated("<!---->", 10000) + "<r/>").c_str()));
  EXPECT_EQ(walk(doc).size(), 1U);
  EXPECT_EQ(doc.m_aPos.size(), 70004U / 64 + 8);
}

}  // namespace
