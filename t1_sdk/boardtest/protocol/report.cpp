#include "t1_sdk/boardtest/protocol/report.h"

#include <cstdio>

#include "t1_sdk/util/text.h"

using namespace boardtest;

const char boardtest::kTestSucceeded[] = "测试成功";

boardtest::TestReport::TestReport(int testCode, const char* name, const char* description,
                                  XmlDocument& document)
    : document_(document) {
  describe(description);
  t1_sdk_initial_t1Msg(&document_, static_cast<unsigned>(testCode), name);
}

void boardtest::TestReport::fail(int code, const char* description) {
  code_ = code;
  describe(description);
}

void boardtest::TestReport::fail_aloud(int code, const char* description) {
  std::puts(description);
  fail(code, description);
}

void boardtest::TestReport::describe(const char* text) {
  copy_gbk(description_.data(), description_.size(), text);
}

int boardtest::TestReport::send() {
  if (passed()) {
    document_.AddChildElem("Value", "Pass");
  } else {
    std::printf("fail num = %d\n", code_);
    document_.AddChildElem("Value", "Fail");
  }
  document_.AddChildElem("Description", description_.data());
  return tcp_send_xml_msg(&document_);
}
