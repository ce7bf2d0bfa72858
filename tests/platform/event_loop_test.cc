// The main loop on a clock the test moves, and a stop from another thread.
#include "platform/event_loop.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <string>
#include <thread>
#include <vector>

namespace pluvo::platform {
namespace {

using namespace std::chrono_literals;
using ::testing::ElementsAre;

TEST(EventLoopTest, RunsTasksInOrderTimersByDeadlineAndNeverCancelledOnes) {
  EventLoop::ManualClock clock;
  EventLoop loop(&clock);
  std::vector<std::string> ran;
  MainLoop::TimerId cancelledByTask = 0;
  loop.postDelayed(60ms, [&] { ran.push_back("late"); });
  loop.postDelayed(20ms, [&] {
    ran.push_back("early");
    loop.cancel(cancelledByTask);
  });
  loop.postDelayed(20ms, [&] { ran.push_back("early, posted second"); });
  cancelledByTask = loop.postDelayed(40ms, [&] { ran.push_back("cancelled by a task"); });
  MainLoop::TimerId cancelled = loop.postDelayed(10ms, [&] { ran.push_back("cancelled"); });
  loop.post([&] { ran.push_back("first"); });
  loop.post([&] {
    ran.push_back("second");
    loop.post([&] { ran.push_back("posted by a task"); });
  });
  loop.cancel(cancelled);
  loop.cancel(cancelled);  // twice: harmless

  // Step by step: nothing fires a tick before its deadline.
  std::vector<std::size_t> counts;
  for (auto step : {0ms, 19ms, 1ms, 39ms, 1ms}) {
    clock.advance(step);
    counts.push_back(loop.runUntilIdle());
  }
  EXPECT_THAT(counts, ElementsAre(3, 0, 2, 0, 1));
  EXPECT_THAT(ran, ElementsAre("first", "second", "posted by a task", "early",
                               "early, posted second", "late"));

  // `run` waits for the clock: another thread moves it past a timer that stops the loop.
  loop.postDelayed(1h, [&] { loop.stop(); });
  std::thread mover([&] { clock.advance(1h); });
  loop.run();
  mover.join();
}

TEST(EventLoopTest, StopFromAnotherThreadEndsRunAndQueuedWorkWaitsForTheNextRun) {
  EventLoop loop;  // on the steady clock
  int count = 0;   // touched by loop tasks only
  loop.postDelayed(24h, [] {});
  std::thread stopper([&] {
    std::vector<std::jthread> posters;
    for (int t = 0; t < 4; ++t) {
      posters.emplace_back([&] {
        for (int i = 0; i < 250; ++i) loop.post([&] { ++count; });
      });
    }
    for (auto& poster : posters) poster.join();
    loop.stop();
  });
  loop.run();  // would wait a day without the stop
  stopper.join();

  bool ranLater = false;
  loop.stop();  // a stop before run: run returns at once, keeping the queue
  loop.post([&] { ranLater = true; });
  loop.run();
  EXPECT_FALSE(ranLater);
  loop.postDelayed(1ms, [&] { loop.stop(); });
  loop.run();
  EXPECT_TRUE(ranLater);
  EXPECT_EQ(count, 1000);
}

}  // namespace
}  // namespace pluvo::platform
