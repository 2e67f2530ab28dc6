// The reporting convention: one reply, Pass or Fail, a description.
#include "t1_sdk/boardtest/protocol/report.h"

#include <gtest/gtest.h>
#include <string>

#include "t1_sdk/boardtest/protocol/message.h"
#include "tests/harness/gbk.h"
#include "tests/harness/station_run.h"

namespace {

using namespace boardtest;

class ReportTest : public StationRun {
 protected:
  const std::string name = gbk("测试RTC时钟");
  const std::string succeeded = gbk("测试成功");
  const std::string failed = gbk("打开RTC设备失败");
};

TEST_F(ReportTest, ATestWithoutFailureReportsPass) {
  TestReport report(1536, name.c_str(), succeeded.c_str());
  EXPECT_TRUE(report.passed());
  EXPECT_EQ(report.code(), 0);
  EXPECT_EQ(report.send(), 0);

  expect_reply(station, 1536, "测试RTC时钟", "Pass", "测试成功");
  EXPECT_EQ(console.out(), "");
}

TEST_F(ReportTest, WithoutADescriptionATestHasSucceeded) {
  TestReport report(1536, name.c_str());
  EXPECT_EQ(hex(report.description()), "b2e2cad4b3c9b9a6");
  EXPECT_EQ(utf8(report.description()), "测试成功");
  report.send();
  EXPECT_EQ(station.reply().value, "Pass");
  EXPECT_EQ(station.reply().description, "测试成功");
}

TEST_F(ReportTest, AReplyInADocumentOfItsOwnLeavesTheSharedOneAlone) {
  t1_sdk_initial_t1Msg(&msg, 255U, "shared");
  const std::string before = msg.GetDoc();
  XmlDocument own;
  TestReport report(1536, name.c_str(), succeeded.c_str(), own);
  EXPECT_EQ(report.send(), 0);
  EXPECT_EQ(station.reply().code, 1536);
  EXPECT_EQ(station.reply().value, "Pass");
  EXPECT_EQ(msg.GetDoc(), before);
}

TEST_F(ReportTest, ThePiecesOfAReplyComeInThisOrder) {
  TestReport report(-15, name.c_str(), succeeded.c_str());
  report.send();
  EXPECT_EQ(utf8(station.reply().raw),
            "<?xml version=\"1.0\" encoding=\"GBK\"?>\r\n<TestItem>\r\n<TestCode>-15</TestCode>\r\n"
            "<TestName>测试RTC时钟</TestName>\r\n<Result>\r\n<ResultItem>\r\n<Name>测试结果</Name>\r\n"
            "<Value>Pass</Value>\r\n<Description>测试成功</Description>\r\n"
            "</ResultItem>\r\n</Result>\r\n</TestItem>\r\n");
}

TEST_F(ReportTest, AFailureReportsItsDescriptionAndPrintsItsCode) {
  TestReport report(1536, name.c_str(), succeeded.c_str());
  report.fail(7, failed.c_str());
  EXPECT_FALSE(report.passed());
  EXPECT_EQ(report.code(), 7);
  EXPECT_EQ(console.out(), "");
  EXPECT_EQ(report.send(), 0);
  EXPECT_EQ(console.out(), "fail num = 7\n");
  EXPECT_EQ(station.reply().value, "Fail");
  EXPECT_EQ(station.reply().description, "打开RTC设备失败");
}

TEST_F(ReportTest, AFailureWithoutADescriptionKeepsTheOneThatWasThere) {
  TestReport report(1536, name.c_str(), succeeded.c_str());
  report.fail(3);
  report.send();
  EXPECT_EQ(station.reply().value, "Fail");
  EXPECT_EQ(station.reply().description, "测试成功");
}

TEST_F(ReportTest, ADescriptionCanBeReplacedWithoutAFailure) {
  TestReport report(1536, name.c_str(), succeeded.c_str());
  report.describe("45.5");
  report.send();
  EXPECT_EQ(station.reply().value, "Pass");
  EXPECT_EQ(station.reply().description, "45.5");
}

TEST_F(ReportTest, AnEmptyDescriptionIsAnEmptyElement) {
  TestReport report(14592, name.c_str(), "");
  report.send();
  EXPECT_NE(station.reply().raw.find("<Description/>\r\n"), std::string::npos);
}

TEST_F(ReportTest, ADescriptionOfMoreThan511BytesIsCut) {
  TestReport report(1536, name.c_str(), std::string(511, 'x').c_str());
  EXPECT_EQ(report.description(), std::string(511, 'x'));
  report.fail(1, std::string(512, 'x').c_str());
  EXPECT_EQ(report.description(), std::string(511, 'x'));
  report.send();
  EXPECT_EQ(station.reply().description, std::string(511, 'x'));
}

TEST_F(ReportTest, ALongChineseDescriptionIsCutBetweenCharacters) {
  std::string characters;
  for (int i = 0; i < 300; ++i) characters += "测";

  TestReport report(1536, name.c_str(), "");
  report.describe(gbk(characters).c_str());
  EXPECT_EQ(utf8(report.description()), characters.substr(0, 255 * 3)) << "510 bytes, no half character";
  report.describe(gbk("a" + characters).c_str());
  EXPECT_EQ(utf8(report.description()), std::string("a").append(characters, 0, 255 * 3)) << "511 bytes";
}

TEST_F(ReportTest, AReportWithoutAStationStillPrintsItsFailure) {
  g_iSockClient = -1;
  TestReport report(1536, name.c_str(), succeeded.c_str());
  report.fail(2, failed.c_str());
  EXPECT_EQ(report.send(), -1);
  EXPECT_EQ(console.out(), "fail num = 2\n");
}

}  // namespace
