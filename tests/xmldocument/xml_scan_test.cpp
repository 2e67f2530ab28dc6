// Searches in the text of the XML document, which look at many characters at once: what they find is what
// looking at one after the other finds.
#include "t1_sdk/xmldocument/xml_scan.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <random>
#include <string>

namespace {

/// Texts by chance in buffers of their own length, so that a look beyond one would be seen by the sanitizers.
class XmlScanTest : public testing::Test {
 protected:
  std::size_t below(std::size_t limit) { return random_() % limit; }
  std::string text(std::size_t length) {
    std::string text(length, 'a');
    for (char& c : text) {
      if (below(24) == 0) c = "<>&'\" \x80\xBC\xFF"[below(9)];
    }
    return text;
  }

 private:
  std::mt19937 random_{1};
};

TEST_F(XmlScanTest, WhatIsSearchedForManyAtOnceIsFoundWhereThePlainSearchFindsIt) {
  for (int round = 0; round < 200000; ++round) {
    const std::string searched = text(below(120));
    const char* const end = searched.data() + searched.size();
    const char* const from = searched.data() + below(searched.size() + 1);
    ASSERT_EQ(xml_scan::find(from, end, '<'), xml_scan::find_plainly(from, end, '<')) << searched;
    ASSERT_EQ(xml_scan::find_behind_line_end(from, end, '<'), xml_scan::find_plainly(from, end, '<'));
    ASSERT_EQ(xml_scan::find_any(from, end, '<', '&', '>', '"', '\''),
              xml_scan::find_plainly(from, end, '<', '&', '>', '"', '\''))
        << searched;
  }
}

TEST_F(XmlScanTest, TheEndsOfAStartTagAndOfWhatItHoldsAreFoundAtALookWhereThePlainSearchFindsThem) {
  for (int round = 0; round < 200000; ++round) {
    const std::string searched = text(below(120));
    const char* const end = searched.data() + searched.size();
    const char* const from = searched.data() + below(searched.size() + 1);
    const auto [close, open] = xml_scan::find_tag_ends(from, end);
    ASSERT_EQ(close, xml_scan::find_plainly(from, end, '>')) << searched;
    ASSERT_EQ(open, xml_scan::find_plainly(close, end, '<')) << searched;
  }
}

TEST_F(XmlScanTest, WhatALookDoesNotSeeIsNotThere) {
  int seen = 0;
  for (int round = 0; round < 200000; ++round) {
    const std::string searched = text(below(60));
    const char* const end = searched.data() + searched.size();
    const char* const from = searched.data() + below(searched.size() + 1);
    const char* const to = searched.data() + below(searched.size() + 1);
    if (!xml_scan::lacks_at_a_look(from, to, end, '<', '&')) continue;
    ASSERT_EQ(xml_scan::find_plainly(from, to, '<', '&'), to) << searched;
    ++seen;
  }
#ifdef __SSE2__
  EXPECT_GT(seen, 10000) << "both cases are met";
#endif
}

TEST_F(XmlScanTest, TextsThatAreTheSameWithoutQuotationMarksAreSoManyAtOnceToo) {
  int same = 0;
  for (int round = 0; round < 200000; ++round) {
    const std::size_t length = below(24);
    const std::string one = text(length) + '>';
    std::string other = one + std::string(below(24), '<');
    if (below(2) == 0) other[below(length + 1)] = "<>&'\" \x80\xBC\xFF"[below(9)];
    const std::string all = one + other;
    const char* const end = all.data() + all.size();
    const char* const second = all.data() + one.size();
    const auto compared = static_cast<std::ptrdiff_t>(below(one.size() + 1));
    const bool plainly = xml_scan::same_unquoted_plainly(all.data(), second, compared);
    ASSERT_EQ(xml_scan::same_unquoted(all.data(), second, compared, end), plainly) << all << ' ' << compared;
    same += plainly ? 1 : 0;
  }
  EXPECT_GT(same, 10000) << "both cases are met";
}

}  // namespace
