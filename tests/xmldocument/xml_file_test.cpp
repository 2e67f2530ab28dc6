// Loading: reading a document whole from a file, files that cannot be read, and whether there is a document.
#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstring>
#include <string>
#include <utility>

#include "tests/xmldocument/xml_file_support.h"

namespace {

using xml_support::kGbkText;
using xml_support::XmlFileTest;

const std::string kHeader = "<?xml version=\"1.0\" encoding=\"GBK\"?>\r\n";
const std::string kText = kHeader + "<r>\r\n<a>" + kGbkText + "</a>\r\n</r>\r\n";

// --- Loading ---

TEST_F(XmlFileTest, AFileIsReadWholeAndParsed) {
  write_file("a.xml", kText);
  EXPECT_TRUE(doc.Load(path("a.xml").c_str()));
  expect_text(kText);
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

TEST_F(XmlFileTest, ALargeFileIsReadWhole) {
  const std::string text = "<r>" + xml_support::repeated("<n>12345678</n>\r\n", 10000) + "</r>";
  write_file("large.xml", text);
  EXPECT_TRUE(doc.Load(path("large.xml").c_str()));
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

TEST_F(XmlFileTest, AMissingFileEmptiesTheDocument) {
  expect_no_document_from(path("missing.xml"));
  expect_no_document_from(path("no/such/folder.xml"));
  expect_no_document_from("");
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

TEST_F(XmlFileTest, AFolderGivesNoDocument) {
  expect_no_document_from(path(""));
  expect_no_document_from("/");
}

TEST_F(XmlFileTest, APipeThatAnotherHoldsOpenGivesNoDocument) {
  ASSERT_EQ(mkfifo(path("pipe").c_str(), 0600), 0);
  const int other_end = open(path("pipe").c_str(), O_RDWR);
  ASSERT_GE(other_end, 0);
  ASSERT_EQ(write(other_end, "<r/>", 4), 4);
  expect_no_document_from(path("pipe"));
  close(other_end);
}

TEST_F(XmlFileTest, APipeThatNobodyWritesToIsNotWaitedFor) {
  ASSERT_EQ(mkfifo(path("pipe").c_str(), 0600), 0);
  expect_no_document_from(path("pipe"));
}

TEST_F(XmlFileTest, AFileLongerThanItsSizeSaysGivesNoDocument) {
  expect_no_document_from("/proc/self/status");
  expect_no_document_from("/proc/version");
}

TEST_F(XmlFileTest, ADeviceGivesNoDocument) {
  expect_no_document_from("/dev/null");
  expect_no_document_from("/dev/full");
}

TEST_F(XmlFileTest, AFileThatCannotBeOpenedForReadingGivesNoDocument) {
  const int listener = socket(AF_UNIX, SOCK_STREAM, 0);
  ASSERT_GE(listener, 0);
  sockaddr_un address = {};
  address.sun_family = AF_UNIX;
  ASSERT_LT(path("socket").size(), sizeof(address.sun_path));
  std::strncpy(address.sun_path, path("socket").c_str(), sizeof(address.sun_path) - 1);
  ASSERT_EQ(bind(listener, reinterpret_cast<const sockaddr*>(&address), sizeof(address)), 0);
  expect_no_document_from(path("socket"));
  close(listener);
  ASSERT_EQ(symlink(path("nowhere").c_str(), path("link").c_str()), 0);
  expect_no_document_from(path("link"));
  write_file("file", "<r/>");
  expect_no_document_from(path("file/below"));
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

TEST_F(XmlFileTest, NoFileNameIsNoFile) {
  EXPECT_FALSE(doc.Load(nullptr));
  expect_empty();
  start_from("<r/>");
  EXPECT_FALSE(doc.Save(nullptr));
  expect_text("<r/>");
}

// --- Whether there is a document ---

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
