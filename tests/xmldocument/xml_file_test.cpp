// Loading: reading a document whole from a file, and files that cannot be read or shrink while they are read:
// the linker leads the program's question for the size to __wrap_ftell below, which then shortens the file.
#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <string>
#include <utility>

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

using xml_support::kFileText;
using xml_support::kGbkText;
using xml_support::kHeader;
using xml_support::XmlFileTest;

TEST_F(XmlFileTest, AFileIsReadWholeAndParsed) {
  write_file("a.xml", kFileText);
  EXPECT_TRUE(doc.Load(path("a.xml").c_str()));
  expect_text(kFileText);
  EXPECT_EQ(doc.GetTagName(), "") << "the position is at the start";
  ASSERT_TRUE(doc.FindChildElem());
  EXPECT_EQ(doc.GetChildData(), kGbkText);
}

TEST_F(XmlFileTest, LineEndsAndEveryByteStayAsTheyAre) {
  std::string text = "<r>\n\r\r\n\t\x1A";
  for (int c = 0x80; c <= 0xFF; ++c) text += static_cast<char>(c);
  text += "</r>\n\n";
  write_file("a.xml", text);
  EXPECT_TRUE(doc.Load(path("a.xml").c_str()));
  EXPECT_EQ(doc.GetDoc(), text);
}

TEST_F(XmlFileTest, AFileIsReadUpToItsFirstZeroByte) {
  write_file("a.xml", std::string("<r/>\0<s>", 8));
  EXPECT_TRUE(doc.Load(path("a.xml").c_str()));
  EXPECT_EQ(doc.GetDoc(), "<r/>");
}

TEST_F(XmlFileTest, AFileThatIsLoadedTakesThePlaceOfTheDocumentBefore) {
  write_file("a.xml", "<new/>");
  start_from("<old><a/></old>", "a");
  ASSERT_TRUE(doc.SavePos("old"));
  EXPECT_TRUE(doc.Load(path("a.xml").c_str()));
  expect_text("<new/>");
  EXPECT_EQ(doc.GetTagName(), "");
  EXPECT_FALSE(doc.RestorePos("old"));
}

TEST_F(XmlFileTest, WhatIsNoFileThatCanBeReadGivesNoDocument) {
  write_file("file", "<r/>");
  ASSERT_EQ(symlink(path("nowhere").c_str(), path("link").c_str()), 0);
  ASSERT_EQ(mkfifo(path("pipe").c_str(), 0600), 0);
  for (const std::string& none :
       {path("missing.xml"), path("no/such/folder.xml"), path("file/below"), path("link"), std::string(),
        path(""), path("pipe"), std::string("/dev/null"), std::string("/dev/full")}) {
    expect_no_document_from(none);
  }
  EXPECT_FALSE(doc.Load(nullptr));
  expect_empty();
}

TEST_F(XmlFileTest, AFileThatDoesNotParseEmptiesTheDocument) {
  const std::string no_tag = "Element tag not found";
  const std::pair<std::string, std::string> files[] = {{"<a><b></a>", "End tag does not correspond to b"},
                                                       {"<a", "End of tag not found"},
                                                       {"text", no_tag},
                                                       {kHeader, no_tag},
                                                       {"</r>", ""},
                                                       {" \r\n", no_tag},
                                                       {std::string("\0<r/>", 5), ""}};
  for (const auto& [text, error] : files) {
    write_file("broken.xml", text);
    expect_no_document_from(path("broken.xml"), error);
  }
}

TEST_F(XmlFileTest, TheErrorTextIsThatOfTheLastFile) {
  write_file("broken.xml", "<a");
  write_file("good.xml", "<a/>");
  EXPECT_FALSE(doc.Load(path("broken.xml").c_str()));
  EXPECT_EQ(doc.m_strError, "End of tag not found");
  EXPECT_FALSE(doc.Load(path("missing.xml").c_str()));
  EXPECT_EQ(doc.m_strError, "") << "nothing was parsed";
  EXPECT_FALSE(doc.Load(path("broken.xml").c_str()));
  EXPECT_TRUE(doc.Load(path("good.xml").c_str()));
  EXPECT_EQ(doc.m_strError, "");
}

TEST_F(XmlFileTest, AnEmptyFileGivesNoDocument) {
  write_file("empty.xml", "");
  expect_no_document_from(path("empty.xml"));
}

TEST_F(XmlFileTest, APipeThatAnotherHoldsOpenGivesNoDocument) {
  ASSERT_EQ(mkfifo(path("pipe").c_str(), 0600), 0);
  const int other_end = open(path("pipe").c_str(), O_RDWR);
  ASSERT_GE(other_end, 0);
  ASSERT_EQ(write(other_end, "<r/>", 4), 4);
  expect_no_document_from(path("pipe"));
  close(other_end);
}

TEST_F(XmlFileTest, AFileLongerThanItsSizeSaysGivesNoDocument) {
  expect_no_document_from("/proc/self/status");
  expect_no_document_from("/proc/version");
}

TEST_F(XmlFileTest, ASocketGivesNoDocument) {
  const int listener = socket(AF_UNIX, SOCK_STREAM, 0);
  ASSERT_GE(listener, 0);
  sockaddr_un address = {};
  address.sun_family = AF_UNIX;
  ASSERT_LT(path("socket").size(), sizeof(address.sun_path));
  std::strncpy(address.sun_path, path("socket").c_str(), sizeof(address.sun_path) - 1);
  ASSERT_EQ(bind(listener, reinterpret_cast<const sockaddr*>(&address), sizeof(address)), 0);
  expect_no_document_from(path("socket"));
  close(listener);
}

TEST_F(XmlFileTest, AFileThatNobodyMayReadGivesNoDocument) {
  write_file("open.xml", "<r/>");
  write_file("locked.xml", "<r/>");
  ASSERT_EQ(chmod(path("").c_str(), 0755), 0);
  ASSERT_EQ(chmod(path("open.xml").c_str(), 0644), 0);
  ASSERT_EQ(chmod(path("locked.xml").c_str(), 0), 0);
  start_from("<old/>");
  const pid_t child = fork();
  ASSERT_GE(child, 0);
  if (child == 0) {
    // Root may read everything: it becomes nobody.
    if (geteuid() == 0 && (setgid(65534) != 0 || setuid(65534) != 0)) _exit(1);
    if (!doc.Load(path("open.xml").c_str())) _exit(2);
    if (doc.Load(path("locked.xml").c_str())) _exit(3);
    _exit(doc.GetDoc().empty() ? 0 : 4);
  }
  int status = -1;
  ASSERT_EQ(waitpid(child, &status, 0), child);
  EXPECT_EQ(status, 0);
}

TEST_F(XmlFileTest, AFileWhoseReadingFailsGivesNoDocument) {
  expect_no_document_from("/proc/self/mem");
}

TEST_F(XmlFileTest, AFileLargerThanAnyDocumentGivesNoDocument) {
  write_file("huge.xml", "<r/>");
  if (truncate64(path("huge.xml").c_str(), off64_t{1} << 40) != 0)
    GTEST_SKIP() << "no files of that size here";
  expect_no_document_from(path("huge.xml"));
}

TEST_F(XmlFileTest, AFileThatShrinksWhileItIsReadGivesNoDocumentEvenIfTheRestWouldParse) {
  const std::string root = "<r/>\r\n";
  // Several pages, so that what stands at its beginning is not yet in a buffer when its size is known.
  const std::string text = root + std::string(100'000, ' ');
  for (const std::uintmax_t left :
       {text.size(), text.size() - 1, text.size() / 2, root.size(), std::size_t{0}}) {
    write_file("a.xml", text);
    shortened_file = path("a.xml");
    what_is_left = left;
    sizes_asked = 0;
    if (left == text.size()) {
      EXPECT_TRUE(doc.Load(path("a.xml").c_str())) << "it keeps its size";
      EXPECT_EQ(doc.GetDoc(), text);
    } else {
      expect_no_document_from(path("a.xml"));
    }
    shortened_file.clear();
    EXPECT_EQ(sizes_asked, 1) << "the file was met";
    EXPECT_EQ(std::filesystem::file_size(path("a.xml")), left);
    EXPECT_EQ(doc.SetDoc(read_file("a.xml").c_str()), left != 0) << "the rest does parse";
  }
}

TEST_F(XmlFileTest, ADocumentIsWellFormedWhileItHasARoot) {
  EXPECT_FALSE(doc.IsWellFormed());
  EXPECT_TRUE(doc.AddElem("r"));
  EXPECT_TRUE(doc.IsWellFormed()) << "added";
  EXPECT_TRUE(doc.RemoveElem());
  EXPECT_FALSE(doc.IsWellFormed()) << "removed";
  EXPECT_TRUE(doc.SetDoc("<r/>"));
  EXPECT_TRUE(doc.IsWellFormed()) << "parsed";
  EXPECT_FALSE(doc.SetDoc("<r>"));
  EXPECT_FALSE(doc.IsWellFormed()) << "broken";
  EXPECT_FALSE(doc.SetDoc(nullptr));
  EXPECT_FALSE(doc.IsWellFormed()) << "emptied";
  EXPECT_TRUE(doc.AddSubDoc("<r/>"));
  EXPECT_TRUE(doc.IsWellFormed()) << "spliced in";
}

}  // namespace
