// Files: reading a document whole, writing it in one piece, and files that cannot be read or written.
#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

#include "tests/xmldocument/xml_edit_support.h"

namespace {

namespace fs = std::filesystem;
using xml_support::kGbkText;
using xml_support::Trace;

const std::string kHeader = "<?xml version=\"1.0\" encoding=\"GBK\"?>\r\n";
const std::string kText = kHeader + "<r>\r\n<a>" + kGbkText + "</a>\r\n</r>\r\n";

class XmlFileTest : public xml_support::XmlEditTest {
 protected:
  XmlFileTest() {
    std::string name = fs::temp_directory_path() / "xml_file_test.XXXXXX";
    if (mkdtemp(name.data()) != nullptr) folder_ = name;
  }
  ~XmlFileTest() override {
    std::error_code ignored;
    if (!folder_.empty()) fs::remove_all(folder_, ignored);
  }
  void SetUp() override { ASSERT_FALSE(folder_.empty()); }

  std::string path(const std::string& name) const { return folder_ / name; }
  void write_file(const std::string& name, const std::string& content) const {
    std::ofstream(path(name), std::ios::binary) << content;
  }
  std::string read_file(const std::string& name) const {
    std::ifstream file(path(name), std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
  }
  /// That file cannot be loaded, and the document that stood there before is gone.
  void expect_no_document_from(const std::string& file) {
    start_from("<old><a/></old>", "a");
    ASSERT_TRUE(doc.SavePos("old"));
    EXPECT_FALSE(doc.Load(file.c_str())) << file;
    expect_empty();
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
    EXPECT_TRUE(xml_support::walk(doc).empty());
  }

 private:
  fs::path folder_;
};

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
  for (const std::string& text : {std::string("<a><b></a>"), std::string("text"), kHeader,
                                  std::string("</r>"), std::string(" \r\n"), std::string("\0<r/>", 5)}) {
    write_file("broken.xml", text);
    expect_no_document_from(path("broken.xml"));
  }
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

TEST_F(XmlFileTest, AFileShorterThanItsSizeSaysGivesNoDocument) {
  // The kernel says one page for these and has a line in them: like a file that shrinks while it is read.
  for (const char* file : {"/sys/kernel/mm/transparent_hugepage/enabled", "/sys/kernel/uevent_seqnum"}) {
    if (fs::exists(file)) expect_no_document_from(file);
  }
}

TEST_F(XmlFileTest, AFileLongerThanItsSizeSaysGivesNoDocument) {
  expect_no_document_from("/proc/self/status");
  expect_no_document_from("/proc/self/cmdline");
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
  if (truncate(path("huge.xml").c_str(), off_t{1} << 40) != 0) GTEST_SKIP() << "no files of that size here";
  expect_no_document_from(path("huge.xml"));
}

TEST_F(XmlFileTest, NoFileNameIsNoFile) {
  EXPECT_FALSE(doc.Load(nullptr));
  expect_empty();
  start_from("<r/>");
  EXPECT_FALSE(doc.Save(nullptr));
  expect_text("<r/>");
}

// --- Saving ---

TEST_F(XmlFileTest, TheTextIsWrittenAsItIs) {
  start_from(kText, "a");
  const Trace before(doc);
  EXPECT_TRUE(doc.Save(path("a.xml").c_str()));
  EXPECT_EQ(read_file("a.xml"), kText);
  EXPECT_EQ(Trace(doc), before) << "the document stays";
}

TEST_F(XmlFileTest, WhatIsSavedLoadsAgain) {
  start_from(kHeader + "<r/>");
  ASSERT_TRUE(doc.AddChildElem("a", ("<" + kGbkText + "\">").c_str()));
  ASSERT_TRUE(doc.SetChildAttrib("n", kGbkText.c_str()));
  const std::string text = doc.GetDoc();
  ASSERT_TRUE(doc.Save(path("a.xml").c_str()));
  XmlDocument other;
  EXPECT_TRUE(other.Load(path("a.xml").c_str()));
  EXPECT_EQ(other.GetDoc(), text);
  ASSERT_TRUE(other.FindChildElem("a"));
  EXPECT_EQ(other.GetChildData(), "<" + kGbkText + "\">");
  EXPECT_EQ(other.GetChildAttrib("n"), kGbkText);
}

TEST_F(XmlFileTest, ALongerFileIsReplacedWhole) {
  write_file("a.xml", std::string(10000, 'x'));
  start_from("<r/>");
  EXPECT_TRUE(doc.Save(path("a.xml").c_str()));
  EXPECT_EQ(read_file("a.xml"), "<r/>");
}

TEST_F(XmlFileTest, AnEmptyDocumentWritesAnEmptyFile) {
  write_file("a.xml", "old");
  EXPECT_TRUE(doc.Save(path("a.xml").c_str()));
  EXPECT_TRUE(fs::exists(path("a.xml")));
  EXPECT_EQ(read_file("a.xml"), "");
}

TEST_F(XmlFileTest, ATextThatDidNotParseIsWrittenToo) {
  EXPECT_FALSE(doc.SetDoc("<a><b></a>"));
  EXPECT_TRUE(doc.Save(path("a.xml").c_str()));
  EXPECT_EQ(read_file("a.xml"), "<a><b></a>");
}

TEST_F(XmlFileTest, AFileThatCannotBeOpenedForWritingIsReported) {
  start_from(kText, "a");
  const Trace before(doc);
  EXPECT_FALSE(doc.Save(path("no/such/folder.xml").c_str()));
  EXPECT_FALSE(doc.Save(path("").c_str())) << "a folder";
  EXPECT_FALSE(doc.Save(""));
  EXPECT_FALSE(fs::exists(path("no")));
  EXPECT_EQ(Trace(doc), before);
}

TEST_F(XmlFileTest, AFullDeviceIsReported) {
  start_from(kText, "a");
  const Trace before(doc);
  EXPECT_FALSE(doc.Save("/dev/full"));
  EXPECT_EQ(Trace(doc), before);
  start_from("<r>" + std::string(100000, 'x') + "</r>");
  EXPECT_FALSE(doc.Save("/dev/full")) << "nor does a text larger than any buffer fit";
}

TEST_F(XmlFileTest, AnEmptyDocumentFitsOnAFullDevice) {
  EXPECT_TRUE(doc.Save("/dev/full"));
}

// --- Descriptors ---

TEST_F(XmlFileTest, NoFileStaysOpen) {
  write_file("good.xml", kText);
  write_file("bad.xml", "<a>");
  const auto open_files = [] {
    return std::distance(fs::directory_iterator("/proc/self/fd"), fs::directory_iterator());
  };
  const auto before = open_files();
  for (int i = 0; i < 3; ++i) {
    doc.Load(path("good.xml").c_str());
    doc.Save(path("copy.xml").c_str());
    doc.Save("/dev/full");
    doc.Load(path("bad.xml").c_str());
    doc.Load(path("").c_str());
    doc.Load("/proc/self/mem");
    doc.Save(path("empty.xml").c_str());
  }
  EXPECT_EQ(open_files(), before);
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
