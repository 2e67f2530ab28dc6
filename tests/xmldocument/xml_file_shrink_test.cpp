// A file that another cuts off while it is read. The linker leads the program's question for the size to
// __wrap_ftell below: behind the answer, the file is shortened.
#include <gtest/gtest.h>

#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <string>

#include "tests/xmldocument/xml_file_support.h"

extern "C" long __real_ftell(std::FILE* file);
extern "C" long __wrap_ftell(std::FILE* file);

namespace {

/// The file to shorten as soon as a size was asked for, and what is left of it then; no name: none.
std::string shortened_file;
std::uintmax_t what_is_left = 0;
int sizes_asked = 0;

}  // namespace

extern "C" long __wrap_ftell(std::FILE* file) {
  const long size = __real_ftell(file);
  ++sizes_asked;
  if (!shortened_file.empty()) std::filesystem::resize_file(shortened_file, what_is_left);
  return size;
}

namespace {

const std::string kRoot = "<r/>\r\n";
/// Several pages, so that what stands at its beginning is not yet in a buffer when its size is known.
const std::string kText = kRoot + std::string(100'000, ' ');

class XmlFileShrinkTest : public xml_support::XmlFileTest {
 protected:
  void TearDown() override { shortened_file.clear(); }
  void shorten(const std::string& file, std::uintmax_t left) {
    write_file(file, kText);
    shortened_file = path(file);
    what_is_left = left;
    sizes_asked = 0;
  }
};

TEST_F(XmlFileShrinkTest, AFileThatShrinksWhileItIsReadGivesNoDocumentEvenIfTheRestWouldParse) {
  for (const std::uintmax_t left : {kText.size() - 1, kText.size() / 2, kRoot.size()}) {
    shorten("a.xml", left);
    expect_no_document_from(path("a.xml"));
    EXPECT_EQ(sizes_asked, 1) << "the file was met";
    EXPECT_EQ(std::filesystem::file_size(path("a.xml")), left);
    EXPECT_TRUE(doc.SetDoc(read_file("a.xml").c_str())) << "the rest does parse";
  }
}

TEST_F(XmlFileShrinkTest, AFileThatVanishesWhileItIsReadGivesNoDocument) {
  shorten("a.xml", 0);
  expect_no_document_from(path("a.xml"));
  EXPECT_EQ(sizes_asked, 1);
}

TEST_F(XmlFileShrinkTest, AFileThatKeepsItsSizeIsReadWhole) {
  shorten("a.xml", kText.size());
  EXPECT_TRUE(doc.Load(path("a.xml").c_str()));
  EXPECT_EQ(sizes_asked, 1);
  EXPECT_EQ(doc.GetDoc(), kText);
}

}  // namespace
