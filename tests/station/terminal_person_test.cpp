// Answers to a plan's question, as somebody types or scans them.
#include "station/terminal/terminal_person.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <array>
#include <string_view>

namespace {

using t1station::TerminalPerson;

class TerminalPersonTest : public testing::Test {
 protected:
  TerminalPersonTest() : ends_(new_pipe()), person_(ends_[0]) {}
  ~TerminalPersonTest() override {
    hang_up();
    close(ends_[0]);
  }
  void type(std::string_view text) const {
    EXPECT_EQ(write(ends_[1], text.data(), text.size()), static_cast<ssize_t>(text.size()));
  }
  void hang_up() {
    if (ends_[1] >= 0) close(ends_[1]);
    ends_[1] = -1;
  }
  /// What is understood of this text behind a question.
  std::optional<bool> meaning_of(std::string_view text) {
    person().ask({"亮了吗?", "Is it lit?"});
    type(text);
    const std::optional<bool> answer = person().answer();
    person().end_question();
    return answer;
  }
  TerminalPerson& person() { return person_; }

 private:
  static std::array<int, 2> new_pipe() {
    std::array<int, 2> ends{-1, -1};
    EXPECT_EQ(pipe(ends.data()), 0);
    return ends;
  }

  std::array<int, 2> ends_;
  TerminalPerson person_;
};

TEST_F(TerminalPersonTest, YesAndNoAreTypedShortOrLongOrScanned) {
  for (const char* text : {"y\n", "Yes\n", " YES \r\n", "answer:yes\n"})
    EXPECT_EQ(meaning_of(text), true) << text;
  for (const char* text : {"n\n", "No\n", "answer:no\r\n"}) EXPECT_EQ(meaning_of(text), false) << text;
}

TEST_F(TerminalPersonTest, AnythingElseIsNoAnswer) {
  for (const char* text : {"\n", "maybe\n", "yesno\n", "answer:\n", "AB00000001\n", "y"})
    EXPECT_EQ(meaning_of(text), std::nullopt) << text;
  EXPECT_EQ(meaning_of("AB00000001\nn\ny\n"), false) << "the first answer counts";
}

TEST_F(TerminalPersonTest, WhatWasTypedBeforeTheQuestionDoesNotAnswerIt) {
  type("y\n");
  EXPECT_EQ(meaning_of(""), std::nullopt);
  EXPECT_EQ(meaning_of("y"), std::nullopt);
  EXPECT_EQ(meaning_of("\n"), std::nullopt) << "half a word of the question before";
}

TEST_F(TerminalPersonTest, AnAnswerMayComeInPieces) {
  person().ask({"亮了吗?", "Is it lit?"});
  for (const char* part : {"answer", ":ye"}) {
    type(part);
    EXPECT_EQ(person().answer(), std::nullopt);
  }
  type("s\n");
  EXPECT_EQ(person().answer(), true);
}

TEST_F(TerminalPersonTest, ATerminalThatIsGoneAnswersNothing) {
  person().ask({"亮了吗?", "Is it lit?"});
  hang_up();
  EXPECT_EQ(person().answer(), std::nullopt);
}

}  // namespace
