// An operator who wants to stop.
#include "station/link/interrupt.h"

#include <gtest/gtest.h>

#include <csignal>
#include <cstdlib>

namespace {

using t1station::HeldInterrupt;
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

TEST(InterruptTest, WhileHeldTheFirstWishIsNotedAndTheSecondCounts) {
  Interrupt interrupt;
  const HeldInterrupt held(interrupt);
  EXPECT_FALSE(interrupt.is_noted());
  interrupt.raise();
  EXPECT_TRUE(interrupt.is_noted());
  EXPECT_FALSE(interrupt.is_raised());
  interrupt.raise();
  EXPECT_TRUE(interrupt.is_raised());
}

TEST(InterruptTest, AWishThatWasNotedCountsWhenNobodyHoldsItAnyMore) {
  Interrupt interrupt;
  {
    const HeldInterrupt held(interrupt);
    interrupt.raise();
  }
  EXPECT_TRUE(interrupt.is_raised());
}

TEST(InterruptTest, EachSignalThatAsksForTheEndInterrupts) {
  for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
    const auto interrupts = [signal] {
      Interrupt interrupt;
      interrupt.watch_signals();
      std::raise(signal);
      std::_Exit(interrupt.is_raised() ? 0 : 1);
    };
    EXPECT_EXIT(interrupts(), testing::ExitedWithCode(0), "") << signal;
  }
}

TEST(InterruptTest, TheSecondSignalEndsTheStation) {
  const auto interrupted_twice = [] {
    Interrupt interrupt;
    interrupt.watch_signals();
    std::raise(SIGTERM);
    std::raise(SIGINT);
    std::_Exit(0);
  };
  EXPECT_EXIT(interrupted_twice(), testing::KilledBySignal(SIGINT), "");
}

TEST(InterruptTest, AHangUpThatIsToldTwiceIsOne) {
  const auto hung_up = [] {
    Interrupt interrupt;
    interrupt.watch_signals();
    std::raise(SIGHUP);
    std::raise(SIGHUP);
    std::_Exit(interrupt.is_raised() ? 0 : 1);
  };
  EXPECT_EXIT(hung_up(), testing::ExitedWithCode(0), "");
}

TEST(InterruptTest, AHangUpThatTheShellIgnoresStaysIgnored) {
  const auto ignored = [] {
    std::signal(SIGHUP, SIG_IGN);
    Interrupt interrupt;
    interrupt.watch_signals();
    std::raise(SIGHUP);
    std::_Exit(interrupt.is_raised() ? 1 : 0);
  };
  EXPECT_EXIT(ignored(), testing::ExitedWithCode(0), "");
}

}  // namespace
