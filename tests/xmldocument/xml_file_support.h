// What the tests of files share: a folder of their own, and what a file that gives no document leaves.
#pragma once

#include <gtest/gtest.h>

#include <fstream>
#include <iterator>
#include <string>

#include "tests/harness/own_directory.h"
#include "tests/xmldocument/xml_support.h"

namespace xml_support {

const inline std::string kFileText = kHeader + "<r>\r\n<a>" + kGbkText + "</a>\r\n</r>\r\n";

class XmlFileTest : public XmlTest {
 protected:
  std::string path(const std::string& name) const { return directory_.file(name); }
  void write_file(const std::string& name, const std::string& content) const {
    std::ofstream(path(name), std::ios::binary) << content;
  }
  std::string read_file(const std::string& name) const {
    std::ifstream file(path(name), std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
  }
  /// That file cannot be loaded, the document that stood there before is gone, and that is the error text.
  void expect_no_document_from(const std::string& file, const std::string& error = "") {
    start_from("<old><a/></old>", "a");
    ASSERT_TRUE(doc.SavePos("old"));
    EXPECT_FALSE(doc.Load(file.c_str())) << file;
    expect_empty();
    EXPECT_EQ(doc.m_strError, error) << file;
    EXPECT_FALSE(doc.RestorePos("old")) << file;
    EXPECT_TRUE(doc.AddElem("new")) << file;
    expect_text("<new/>\r\n");
  }
  void expect_empty() {
    EXPECT_EQ(doc.GetDoc(), "");
    EXPECT_FALSE(doc.IsWellFormed());
    EXPECT_EQ(doc.next_free(), 1);
    EXPECT_EQ(doc.GetTagName(), "");
    EXPECT_EQ(doc.GetChildSubDoc(), "");
    EXPECT_TRUE(walk(doc).empty());
  }

 private:
  const OwnDirectory directory_;
};

}  // namespace xml_support
