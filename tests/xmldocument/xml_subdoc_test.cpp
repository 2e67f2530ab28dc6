// Sub-documents: an element copied out as text, a text spliced in as an element.
#include <gtest/gtest.h>

#include <iterator>
#include <string>
#include <vector>

#include "tests/xmldocument/xml_edit_support.h"

namespace {

using xml_support::EditDocument;
using xml_support::kGbkText;
using xml_support::Trace;

using XmlSubDocTest = xml_support::XmlEditTest;

const std::string kText = "<r>\r\n<a><x>1</x></a>\r\n<b/> \t\r\n\r\n<c/>text<d/>\r\ntext\r\n<e/>\r\n</r>\r\n";

// --- Copying out ---

TEST_F(XmlSubDocTest, AnElementIsCopiedWithTheWhitespaceBehindIt) {
  start_from(kText, "a");
  EXPECT_EQ(doc.GetChildSubDoc(), "<a><x>1</x></a>\r\n");
  ASSERT_TRUE(doc.FindChildElem("b"));
  EXPECT_EQ(doc.GetChildSubDoc(), "<b/> \t\r\n\r\n");
  ASSERT_TRUE(doc.FindChildElem("e"));
  EXPECT_EQ(doc.GetChildSubDoc(), "<e/>\r\n") << "before an end tag too";
}

TEST_F(XmlSubDocTest, WhitespaceBeforeTextIsNotCopied) {
  start_from(kText, "c");
  EXPECT_EQ(doc.GetChildSubDoc(), "<c/>");
  ASSERT_TRUE(doc.FindChildElem("d"));
  EXPECT_EQ(doc.GetChildSubDoc(), "<d/>");
}

TEST_F(XmlSubDocTest, TheRootIsCopiedWithTheWhitespaceUpToTheEnd) {
  start_from("<?xml version=\"1.0\"?>\r\n<r>1</r>\r\n ");
  EXPECT_EQ(doc.GetSubDoc(), "<r>1</r>\r\n ");
  start_from("<r>1</r>");
  EXPECT_EQ(doc.GetSubDoc(), "<r>1</r>");
}

TEST_F(XmlSubDocTest, AttributesCommentsSectionsAndGbkBytesAreCopiedAsTheyStand) {
  const std::string element = "<a x='1' ><!-- <b> --><![CDATA[<c>]]>&lt;" + kGbkText + "</a >";
  start_from("<r>" + element + "\n</r>", "a");
  EXPECT_EQ(doc.GetChildSubDoc(), element + "\n");
}

TEST_F(XmlSubDocTest, TheMainFormCopiesTheMainElementWhateverChildIsCurrent) {
  start_inside(kText, "a");
  ASSERT_TRUE(doc.FindChildElem());
  EXPECT_EQ(doc.GetSubDoc(), "<a><x>1</x></a>\r\n");
  EXPECT_EQ(doc.GetChildSubDoc(), "<x>1</x>");
}

TEST_F(XmlSubDocTest, WithoutAPositionNothingIsCopied) {
  EXPECT_EQ(doc.GetSubDoc(), "");
  EXPECT_EQ(doc.GetChildSubDoc(), "");
  ASSERT_TRUE(doc.SetDoc(kText.c_str()));
  EXPECT_EQ(doc.GetSubDoc(), "");
  EXPECT_EQ(doc.GetChildSubDoc(), "");
  EXPECT_EQ(doc.x_GetSubDoc(0), "");
  ASSERT_TRUE(doc.FindElem());
  EXPECT_EQ(doc.GetChildSubDoc(), "");
}

TEST_F(XmlSubDocTest, CopyingChangesNothing) {
  start_from(kText, "b");
  const Trace before(doc);
  doc.GetSubDoc();
  doc.GetChildSubDoc();
  EXPECT_EQ(Trace(doc), before);
}

// --- Where a text goes ---

TEST_F(XmlSubDocTest, ASiblingGoesBehindTheMainElementAndBecomesIt) {
  start_inside("<r>\r\n<a/>\r\n<b/>\r\n</r>\r\n", "a");
  EXPECT_TRUE(doc.AddSubDoc("<s><t>1</t></s>\r\n"));
  expect_text("<r>\r\n<a/>\r\n<s><t>1</t></s>\r\n<b/>\r\n</r>\r\n");
  EXPECT_EQ(doc.GetTagName(), "s");
  EXPECT_EQ(doc.GetChildSubDoc(), "") << "no child is current";
  ASSERT_TRUE(doc.FindChildElem());
  EXPECT_EQ(doc.GetChildData(), "1");
  ASSERT_TRUE(doc.FindElem());
  EXPECT_EQ(doc.GetTagName(), "b");
}

TEST_F(XmlSubDocTest, ASiblingIsInsertedBeforeTheMainElement) {
  start_inside("<r>\r\n<a/>\r\n<b/>\r\n</r>\r\n", "b");
  EXPECT_TRUE(doc.InsertSubDoc("<s/>\r\n"));
  expect_text("<r>\r\n<a/>\r\n<s/>\r\n<b/>\r\n</r>\r\n");
  EXPECT_EQ(doc.GetTagName(), "s");
}

TEST_F(XmlSubDocTest, WithoutAMainElementASiblingGoesLastOrFirst) {
  start_from("<r>\r\n<a/>\r\n</r>\r\n");
  ASSERT_TRUE(doc.IntoElem());
  EXPECT_TRUE(doc.AddSubDoc("<last/>\r\n"));
  doc.ResetMainPos();
  EXPECT_TRUE(doc.InsertSubDoc("<first/>\r\n"));
  expect_text("<r>\r\n<first/>\r\n<a/>\r\n<last/>\r\n</r>\r\n");
}

TEST_F(XmlSubDocTest, AChildGoesBehindTheCurrentChildAndBecomesIt) {
  start_from("<r>\r\n<a/>\r\n<b/>\r\n</r>\r\n", "a");
  EXPECT_TRUE(doc.AddChildSubDoc("<s>1</s>\r\n"));
  expect_text("<r>\r\n<a/>\r\n<s>1</s>\r\n<b/>\r\n</r>\r\n");
  EXPECT_EQ(doc.GetTagName(), "r");
  EXPECT_EQ(doc.GetChildData(), "1");
  ASSERT_TRUE(doc.FindChildElem());
  EXPECT_EQ(doc.GetChildSubDoc(), "<b/>\r\n");
}

TEST_F(XmlSubDocTest, AChildIsInsertedBeforeTheCurrentChild) {
  start_from("<r><a/><b/></r>", "b");
  EXPECT_TRUE(doc.InsertChildSubDoc("<s>1</s>"));
  expect_text("<r><a/><s>1</s><b/></r>");
  EXPECT_EQ(doc.GetChildData(), "1");
}

TEST_F(XmlSubDocTest, WithoutACurrentChildAChildGoesLastOrFirst) {
  start_from("<r><a/></r>");
  EXPECT_TRUE(doc.AddChildSubDoc("<last/>"));
  doc.ResetChildPos();
  EXPECT_TRUE(doc.InsertChildSubDoc("<first/>"));
  expect_text("<r><first/><a/><last/></r>");
}

TEST_F(XmlSubDocTest, AnEmptyParentIsOpened) {
  for (const bool insert : {false, true}) {
    start_from("<r><p n='1'/>\r\n<q/></r>", "p");
    ASSERT_TRUE(doc.IntoElem());
    EXPECT_TRUE(insert ? doc.InsertChildSubDoc("<s><t/></s>\r\n") : doc.AddChildSubDoc("<s><t/></s>\r\n"));
    expect_text("<r><p n='1'>\r\n<s><t/></s>\r\n</p>\r\n<q/></r>");
  }
}

TEST_F(XmlSubDocTest, AParentOfNothingGetsALineEndBehindItsStartTag) {
  start_from("<r></r>");
  EXPECT_TRUE(doc.AddChildSubDoc("<s/>\r\n"));
  expect_text("<r>\r\n<s/>\r\n</r>");
}

TEST_F(XmlSubDocTest, AParentWithTextTakesItBehindOrBeforeTheText) {
  start_from("<r>text</r>");
  EXPECT_TRUE(doc.AddChildSubDoc("<s/>"));
  doc.ResetChildPos();
  EXPECT_TRUE(doc.InsertChildSubDoc("<f/>"));
  expect_text("<r><f/>text<s/></r>");
}

TEST_F(XmlSubDocTest, ADocumentWithoutARootTakesOneAtItsEndOrAtItsStart) {
  ASSERT_FALSE(doc.SetDoc("<?xml version=\"1.0\"?>\r\n"));
  EXPECT_TRUE(doc.AddSubDoc("<r><a/></r>\r\n"));
  expect_text("<?xml version=\"1.0\"?>\r\n<r><a/></r>\r\n");
  EXPECT_EQ(doc.GetTagName(), "r");
  ASSERT_FALSE(doc.SetDoc("<!-- note -->\r\n"));
  EXPECT_TRUE(doc.InsertSubDoc("<r/>\r\n"));
  expect_text("<r/>\r\n<!-- note -->\r\n");
  doc.SetDoc(nullptr);
  EXPECT_TRUE(doc.AddSubDoc("<r>1</r>"));
  expect_text("<r>1</r>");
}

// --- What goes in ---

TEST_F(XmlSubDocTest, LeadingNodesThatAreNoElementsAreLeftOut) {
  for (const char* lead : {"<?xml version=\"1.0\"?>\r\n", "<!-- <no/> -->", "\r\n \t", "text",
                           "<!DOCTYPE s [<!ELEMENT s ANY>]>\n", "<![CDATA[<no/>]]>",
                           " \r\n<?a?> <!-- b -->\r\ntext <!DOCTYPE c> "}) {
    start_from("<r><a/></r>", "a");
    EXPECT_TRUE(doc.AddChildSubDoc((std::string(lead) + "<s>1</s>").c_str())) << lead;
    expect_text("<r><a/><s>1</s></r>");
    EXPECT_EQ(doc.GetChildData(), "1");
  }
}

TEST_F(XmlSubDocTest, OnlyTheFirstElementOfATextGoesIn) {
  for (const char* tail : {"<t/>", "<t>", "</r>", "</s>", "<!-- open", "<![CDATA[", "<"}) {
    start_from("<r><a/><b/></r>", "a");
    EXPECT_TRUE(doc.AddChildSubDoc((std::string("<s>1</s>") + tail).c_str())) << tail;
    expect_text("<r><a/><s>1</s><b/></r>");
  }
}

TEST_F(XmlSubDocTest, GbkBytesGoInUntouched) {
  start_from("<r/>");
  const std::string text = "<s a=\"" + kGbkText + "\">" + kGbkText + "</s>\r\n";
  EXPECT_TRUE(doc.AddChildSubDoc(text.c_str()));
  expect_text("<r>\r\n" + text + "</r>");
  EXPECT_EQ(doc.GetChildData(), kGbkText);
  EXPECT_EQ(doc.GetChildAttrib("a"), kGbkText);
}

TEST_F(XmlSubDocTest, AnElementCopiedOutGoesInElsewhereAndInAnotherDocument) {
  start_from("<r>\r\n<a><x>1</x></a>\r\n<b/>\r\n</r>\r\n", "a");
  const std::string copied = doc.GetChildSubDoc();
  ASSERT_TRUE(doc.FindChildElem("b"));
  EXPECT_TRUE(doc.AddChildSubDoc(copied.c_str()));
  expect_text("<r>\r\n<a><x>1</x></a>\r\n<b/>\r\n<a><x>1</x></a>\r\n</r>\r\n");
  XmlDocument other;
  EXPECT_TRUE(other.AddSubDoc(copied.c_str()));
  EXPECT_EQ(other.GetDoc(), copied);
}

TEST_F(XmlSubDocTest, WhatIsRemovedGoesInAgainWhereItWas) {
  const std::string text = "<r>\r\n<a>1</a>\r\n<b><x/></b>\r\n<c/>\r\n</r>\r\n";
  start_from(text, "b");
  const std::string copied = doc.GetChildSubDoc();
  ASSERT_TRUE(doc.RemoveChildElem());
  EXPECT_TRUE(doc.AddChildSubDoc(copied.c_str()));
  expect_text(text);
}

TEST_F(XmlSubDocTest, ElementsOfATextCanBeEditedLikeAnyOther) {
  start_from("<r/>");
  ASSERT_TRUE(doc.AddChildSubDoc("<s><t/><u>2</u></s>"));
  ASSERT_TRUE(doc.IntoElem());
  ASSERT_TRUE(doc.FindChildElem("t"));
  EXPECT_TRUE(doc.SetChildData("1"));
  EXPECT_TRUE(doc.SetAttrib("n", 5));
  ASSERT_TRUE(doc.FindChildElem("u"));
  EXPECT_TRUE(doc.RemoveChildElem());
  expect_text("<r>\r\n<s n=\"5\"><t>1</t></s></r>");
}

TEST_F(XmlSubDocTest, ATextWithManyElementsMakesTheIndexGrow) {
  start_from("<r><a/><z/></r>", "a");
  const std::string text = "<s>" + xml_support::repeated("<n><m>1</m></n>", 500) + "</s>";
  EXPECT_TRUE(doc.AddChildSubDoc(text.c_str()));
  expect_text("<r><a/>" + text + "<z/></r>");
}

// --- What does not go in ---

/// Texts from which no element can be taken.
// clang-format off
const char* const kUseless[] = {
    "", " \r\n", "text", "<?xml version=\"1.0\"?>", "<!-- <a/> -->", "<!-- open", "<?open",
    "<![CDATA[<a>", "<!DOCTYPE a [", "</a>", "text</a>", "<", "<>text", "text<", "</", "</r>",
    "<!-- a --></r><s/>"};
/// Elements that are broken, or whole only with the help of what stands behind them.
const char* const kBroken[] = {
    "<s", "<s a=\"1\"", "<s>", "<r>", "<p>", "<s/", "<s></t>", "<s><t></s>", "<s><t/>", "<r><s/>",
    "<p><p></p>", "<s><!-- open</s>", "<s></s", "<r></r", "<s><?open</s>", "<s><\"q\"/>",
    "<s><t/><u></v></s>", "<s></", "<s><", "<s><t", "<a><r>1</r>", "<s><![CDATA[</s>"};
// clang-format on

class XmlSubDocPlaceTest : public xml_support::XmlEditTest {
 protected:
  /// Every text that is of no use is refused by all four calls, and leaves no trace.
  void expect_refused_here() {
    const Trace before(doc);
    std::vector<std::string> texts(std::begin(kUseless), std::end(kUseless));
    for (const char* text : kBroken) {
      texts.emplace_back(text);
      texts.push_back("<?xml version=\"1.0\"?>\r\n<!-- note -->" + std::string(text));
    }
    expect_refused(nullptr, before);
    for (const std::string& text : texts) {
      expect_refused(text.c_str(), before);
      if (HasFatalFailure()) return;
    }
  }

 private:
  void expect_refused(const char* text, const Trace& before) {
    const std::string shown = text == nullptr ? "null" : text;
    EXPECT_FALSE(doc.AddSubDoc(text)) << shown;
    ASSERT_EQ(Trace(doc), before) << shown;
    EXPECT_FALSE(doc.InsertSubDoc(text)) << shown;
    ASSERT_EQ(Trace(doc), before) << shown;
    EXPECT_FALSE(doc.AddChildSubDoc(text)) << shown;
    ASSERT_EQ(Trace(doc), before) << shown;
    EXPECT_FALSE(doc.InsertChildSubDoc(text)) << shown;
    ASSERT_EQ(Trace(doc), before) << shown;
  }
};

TEST_F(XmlSubDocPlaceTest, ABrokenTextLeavesNoTraceInAnEmptyParent) {
  start_inside("<r><p/><q/></r>", "p");
  expect_refused_here();
  expect_text("<r><p/><q/></r>");
}

TEST_F(XmlSubDocPlaceTest, ABrokenTextLeavesNoTraceInAParentOfNothing) {
  start_inside("<r><p></p></r>", "p");
  expect_refused_here();
  expect_text("<r><p></p></r>");
}

TEST_F(XmlSubDocPlaceTest, ABrokenTextLeavesNoTraceInAParentWithText) {
  start_inside("<r><p a=\"1\">text</p>\r\n</r>", "p");
  expect_refused_here();
  expect_text("<r><p a=\"1\">text</p>\r\n</r>");
}

TEST_F(XmlSubDocPlaceTest, ABrokenTextLeavesNoTraceAtTheFirstTheMiddleAndTheLastElement) {
  const std::string text = "<r>\r\n<a/>\r\n<b>1</b>\r\n<c><p/></c>\r\n</r>\r\n";
  for (const char* name : {"a", "b", "c"}) {
    start_inside(text, name);
    expect_refused_here();
    start_from(text, name);
    expect_refused_here();
    expect_text(text);
  }
}

TEST_F(XmlSubDocPlaceTest, ABrokenTextLeavesNoTraceWhereNoElementIsCurrent) {
  start_from("<r><a/><b/></r>");
  expect_refused_here();
  ASSERT_TRUE(doc.IntoElem());
  expect_refused_here();
  expect_text("<r><a/><b/></r>");
}

TEST_F(XmlSubDocPlaceTest, ABrokenTextLeavesNoTraceAtDocumentLevel) {
  for (const char* text : {"", "<?xml version=\"1.0\"?>\r\n", "text", "</s>", "<a><b></a>"}) {
    doc.SetDoc(text);
    expect_refused_here();
    EXPECT_EQ(doc.GetDoc(), text);
    EXPECT_FALSE(doc.IsWellFormed());
  }
}

TEST_F(XmlSubDocPlaceTest, TheErrorTextStaysThatOfTheDocumentItself) {
  EXPECT_FALSE(doc.SetDoc("<a><b></a>"));
  EXPECT_FALSE(doc.AddSubDoc("<s"));
  EXPECT_EQ(doc.m_strError, "End tag does not correspond to b") << "not that of a broken text";
  EXPECT_TRUE(doc.AddSubDoc("<s/>"));
  EXPECT_EQ(doc.m_strError, "End tag does not correspond to b") << "nor emptied by a whole one";
  start_from("<r/>");
  EXPECT_FALSE(doc.AddChildSubDoc("<s"));
  EXPECT_EQ(doc.m_strError, "");
}

TEST_F(XmlSubDocPlaceTest, AfterABrokenTextAWholeOneGoesInAsIfNothingHadHappened) {
  start_from("<r><p/></r>", "p");
  ASSERT_TRUE(doc.IntoElem());
  const int next_free = doc.next_free();
  EXPECT_FALSE(doc.AddChildSubDoc("<s><t/><u><v/></u>"));
  EXPECT_TRUE(doc.AddChildSubDoc("<s/>\r\n"));
  expect_text("<r><p>\r\n<s/>\r\n</p></r>");
  EXPECT_EQ(doc.next_free(), next_free + 1);
}

TEST_F(XmlSubDocPlaceTest, ASecondRootIsRefusedWhole) {
  start_from("<r/>\r\n");
  const Trace before(doc);
  EXPECT_FALSE(doc.AddSubDoc("<s/>"));
  EXPECT_FALSE(doc.InsertSubDoc("<s/>"));
  EXPECT_EQ(Trace(doc), before);
}

TEST_F(XmlSubDocPlaceTest, WithoutAMainElementAChildIsRefused) {
  ASSERT_TRUE(doc.SetDoc("<r><a/></r>"));
  const Trace before(doc);
  EXPECT_FALSE(doc.AddChildSubDoc("<s/>"));
  EXPECT_FALSE(doc.InsertChildSubDoc("<s/>"));
  EXPECT_EQ(Trace(doc), before);
}

}  // namespace
