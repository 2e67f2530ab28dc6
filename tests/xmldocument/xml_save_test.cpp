// Saving: the text written in one piece, what cannot be written, and that no file stays open.
#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <string>

#include "tests/xmldocument/xml_file_support.h"

namespace {

namespace fs = std::filesystem;

using xml_support::kFileText;
using xml_support::Trace;
using XmlSaveTest = xml_support::XmlFileTest;

// --- Saving ---

TEST_F(XmlSaveTest, TheTextIsWrittenAsItIs) {
  start_from(kFileText, "a");
  const Trace before(doc);
  EXPECT_TRUE(doc.Save(path("a.xml").c_str()));
  EXPECT_EQ(read_file("a.xml"), kFileText);
  EXPECT_EQ(Trace(doc), before) << "the document stays";
}

TEST_F(XmlSaveTest, ALongerFileIsReplacedWhole) {
  write_file("a.xml", std::string(10000, 'x'));
  start_from("<r/>");
  EXPECT_TRUE(doc.Save(path("a.xml").c_str()));
  EXPECT_EQ(read_file("a.xml"), "<r/>");
}

TEST_F(XmlSaveTest, AnEmptyDocumentWritesAnEmptyFile) {
  write_file("a.xml", "old");
  EXPECT_TRUE(doc.Save(path("a.xml").c_str()));
  EXPECT_TRUE(fs::exists(path("a.xml")));
  EXPECT_EQ(read_file("a.xml"), "");
  EXPECT_TRUE(doc.Save("/dev/full")) << "it fits on a full device";
}

TEST_F(XmlSaveTest, ATextThatDidNotParseIsWrittenToo) {
  EXPECT_FALSE(doc.SetDoc("<a><b></a>"));
  EXPECT_TRUE(doc.Save(path("a.xml").c_str()));
  EXPECT_EQ(read_file("a.xml"), "<a><b></a>");
}

TEST_F(XmlSaveTest, AFileThatCannotBeOpenedForWritingIsReported) {
  start_from(kFileText, "a");
  const Trace before(doc);
  EXPECT_FALSE(doc.Save(path("no/such/folder.xml").c_str()));
  EXPECT_FALSE(doc.Save(path("").c_str())) << "a folder";
  EXPECT_FALSE(doc.Save(""));
  EXPECT_FALSE(doc.Save(nullptr));
  EXPECT_FALSE(fs::exists(path("no")));
  EXPECT_EQ(Trace(doc), before);
}

TEST_F(XmlSaveTest, AFullDeviceIsReported) {
  start_from(kFileText, "a");
  const Trace before(doc);
  EXPECT_FALSE(doc.Save("/dev/full"));
  EXPECT_EQ(Trace(doc), before);
  start_from("<r>" + std::string(100000, 'x') + "</r>");
  EXPECT_FALSE(doc.Save("/dev/full")) << "nor does a text larger than any buffer fit";
}

TEST_F(XmlSaveTest, APipeTakesWhatItHasRoomForAndIsNotWaitedFor) {
  ASSERT_EQ(mkfifo(path("pipe").c_str(), 0600), 0);
  start_from(kFileText, "a");
  const Trace before(doc);
  EXPECT_FALSE(doc.Save(path("pipe").c_str())) << "nobody reads it";
  EXPECT_EQ(Trace(doc), before);
  const int other_end = open(path("pipe").c_str(), O_RDONLY | O_NONBLOCK);
  ASSERT_GE(other_end, 0);
  start_from(kFileText);
  EXPECT_TRUE(doc.Save(path("pipe").c_str()));
  std::string received(kFileText.size() + 1, '\0');
  EXPECT_EQ(read(other_end, received.data(), received.size()), static_cast<ssize_t>(kFileText.size()));
  received.pop_back();
  EXPECT_EQ(received, kFileText);
  start_from("<r>" + std::string(10'000'000, 'x') + "</r>");
  EXPECT_FALSE(doc.Save(path("pipe").c_str())) << "a reader that does not read is not waited for";
  close(other_end);
}

TEST_F(XmlSaveTest, ANewFileMayBeReadAndWrittenAsTheProcessLetsOthers) {
  const mode_t before = umask(022);
  start_from("<r/>");
  EXPECT_TRUE(doc.Save(path("a.xml").c_str()));
  umask(before);
  struct stat status = {};
  ASSERT_EQ(stat(path("a.xml").c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 07777U, 0644U);
}

// --- Descriptors ---

TEST_F(XmlSaveTest, NoFileStaysOpen) {
  write_file("good.xml", kFileText);
  write_file("bad.xml", "<a>");
  ASSERT_EQ(mkfifo(path("pipe").c_str(), 0600), 0);
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
    doc.Load(path("pipe").c_str());
    doc.Save(path("pipe").c_str());
  }
  EXPECT_EQ(open_files(), before);
}

}  // namespace
