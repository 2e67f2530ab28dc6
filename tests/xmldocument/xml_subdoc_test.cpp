// Sub-documents: an element copied out as text, a text spliced in as an element, and texts that are of no
// use. Where such an element goes is said with those that the document writes itself.
#include <gtest/gtest.h>

#include <iterator>
#include <string>
#include <vector>

#include "tests/xmldocument/xml_support.h"

namespace {

using xml_support::Trace;

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

class XmlSubDocTest : public xml_support::XmlTest {
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

// --- Copying out ---

TEST_F(XmlSubDocTest, AnElementIsCopiedWithTheWhitespaceBehindIt) {
  start_from("<r>\r\n<a><x>1</x></a>\r\n<b/> \t\r\n\r\n<c/>text<d/>\r\ntext\r\n<e/>\r\n</r>\r\n ", "a");
  EXPECT_EQ(doc.GetChildSubDoc(), "<a><x>1</x></a>\r\n");
  ASSERT_TRUE(doc.FindChildElem("b"));
  EXPECT_EQ(doc.GetChildSubDoc(), "<b/> \t\r\n\r\n");
  ASSERT_TRUE(doc.FindChildElem("d"));
  EXPECT_EQ(doc.GetChildSubDoc(), "<d/>") << "white space before text is not copied";
  ASSERT_TRUE(doc.FindChildElem("e"));
  EXPECT_EQ(doc.GetChildSubDoc(), "<e/>\r\n") << "before an end tag too";
  EXPECT_EQ(doc.GetSubDoc(), doc.GetDoc()) << "up to the end of the text";
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

TEST_F(XmlSubDocTest, ATextWithManyElementsMakesTheIndexGrow) {
  start_from("<r><a/><z/></r>", "a");
  const std::string text = "<s>" + xml_support::repeated("<n><m>1</m></n>", 500) + "</s>";
  EXPECT_TRUE(doc.AddChildSubDoc(text.c_str()));
  expect_text("<r><a/>" + text + "<z/></r>");
}

// --- What does not go in ---

TEST_F(XmlSubDocTest, ABrokenTextLeavesNoTraceWhereverThePositionIs) {
  const std::string siblings = "<r>\r\n<a/>\r\n<b>1</b>\r\n<c><p/></c>\r\n</r>\r\n";
  const struct {
    std::string text;
    const char* child;
  } rows[] = {{siblings, "a"},      {siblings, "b"},         {siblings, "c"},
              {"<r><a/></r>", "a"}, {"<r><a></a></r>", "a"}, {"<r><a n=\"1\">text</a>\r\n</r>", "a"}};
  for (const auto& [text, child] : rows) {
    start_inside(text, child);
    expect_refused_here();
    start_from(text, child);
    expect_refused_here();
    doc.ResetChildPos();
    expect_refused_here();
    ASSERT_TRUE(doc.IntoElem());
    expect_refused_here();
    expect_text(text);
  }
}

TEST_F(XmlSubDocTest, ABrokenTextLeavesNoTraceAtDocumentLevel) {
  for (const char* text : {"", "<?xml version=\"1.0\"?>\r\n", "text", "</s>", "<a><b></a>"}) {
    doc.SetDoc(text);
    expect_refused_here();
    EXPECT_EQ(doc.GetDoc(), text);
    EXPECT_FALSE(doc.IsWellFormed());
  }
}

TEST_F(XmlSubDocTest, TheErrorTextStaysThatOfTheDocumentItself) {
  EXPECT_FALSE(doc.SetDoc("<a><b></a>"));
  EXPECT_FALSE(doc.AddSubDoc("<s"));
  EXPECT_EQ(doc.m_strError, "End tag does not correspond to b") << "not that of a broken text";
  EXPECT_TRUE(doc.AddSubDoc("<s/>"));
  EXPECT_EQ(doc.m_strError, "End tag does not correspond to b") << "nor emptied by a whole one";
  start_from("<r/>");
  EXPECT_FALSE(doc.AddChildSubDoc("<s"));
  EXPECT_EQ(doc.m_strError, "");
}

}  // namespace
