// The operator's wish to stop.
#include "station/interrupt.h"

#include <gtest/gtest.h>

#include <csignal>

namespace {

using t1station::Interrupt;

TEST(InterruptTest, AStationIsNotInterruptedByItself) {
  const Interrupt interrupt;
  EXPECT_FALSE(interrupt.is_raised());
}

TEST(InterruptTest, AnInterruptStaysRaised) {
  Interrupt interrupt;
  for (int i = 0; i < 100000; ++i) interrupt.raise();  // more than the pipe holds
  EXPECT_TRUE(interrupt.is_raised());
  EXPECT_TRUE(interrupt.is_raised());
}

TEST(InterruptTest, TheFirstSignalInterruptsAndTheSecondWouldEndTheStation) {
  {
    Interrupt interrupt;
    interrupt.watch_signals();
    std::raise(SIGINT);
    EXPECT_TRUE(interrupt.is_raised());
    struct sigaction now {};
    sigaction(SIGINT, nullptr, &now);
    EXPECT_EQ(now.sa_handler, SIG_DFL);
    std::raise(SIGTERM);
  }
  std::signal(SIGTERM, SIG_DFL);
}

}  // namespace
