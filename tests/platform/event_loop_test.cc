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

TEST(EventLoopTest, RunsPostedTasksInOrderAndTimersByDeadline) {
  EventLoop loop;
  std::vector<std::string> ran;
  loop.postDelayed(60ms, [&] { ran.push_back("late"); });
  loop.postDelayed(20ms, [&] { ran.push_back("early"); });
  loop.postDelayed(20ms, [&] { ran.push_back("early, posted second"); });
  loop.post([&] { ran.push_back("first"); });
  loop.post([&] {
    ran.push_back("second");
    loop.post([&] { ran.push_back("posted by a task"); });
  });
  loop.postDelayed(100ms, [&] { loop.stop(); });
  loop.run();
  EXPECT_THAT(ran, ElementsAre("first", "second", "posted by a task", "early",
                               "early, posted second", "late"));
}

TEST(EventLoopTest, TimersNeverFireEarlyByTheLoopsClock) {
  EventLoop loop;
  EventLoop::Clock::time_point posted = EventLoop::now(), fired;
  loop.postDelayed(50ms, [&] {
    fired = EventLoop::now();
    loop.stop();
  });
  loop.run();
  EXPECT_GE(fired - posted, 50ms);
}

TEST(EventLoopTest, CancelledTimersDoNotRunAndCancellingTwiceIsHarmless) {
  EventLoop loop;
  std::vector<std::string> ran;
  auto cancelled = loop.postDelayed(10ms, [&] { ran.push_back("cancelled"); });
  auto cancelledByTask = loop.postDelayed(30ms, [&] { ran.push_back("cancelled by a task"); });
  loop.postDelayed(20ms, [&] {
    ran.push_back("kept");
    loop.cancel(cancelledByTask);
  });
  loop.cancel(cancelled);
  loop.cancel(cancelled);
  loop.cancel(12345);
  loop.postDelayed(60ms, [&] { loop.stop(); });
  loop.run();
  EXPECT_THAT(ran, ElementsAre("kept"));
}

TEST(EventLoopTest, StopFromAnotherThreadEndsRunAndQueuedWorkSurvivesForTheNextRun) {
  EventLoop loop;
  bool ranLater = false;
  loop.postDelayed(24h, [] {});
  std::thread stopper([&] {
    std::this_thread::sleep_for(20ms);
    loop.stop();
  });
  loop.run();  // would wait a day without the stop
  stopper.join();

  loop.stop();  // a stop before run: run returns at once, keeping the queue
  loop.post([&] { ranLater = true; });
  loop.run();
  EXPECT_FALSE(ranLater);
  loop.post([&] { loop.stop(); });
  loop.run();
  EXPECT_TRUE(ranLater);
}

TEST(EventLoopTest, TasksPostedFromOtherThreadsAllRun) {
  EventLoop loop;
  int count = 0;  // touched by loop tasks only
  std::vector<std::thread> posters;
  for (int t = 0; t < 4; ++t) {
    posters.emplace_back([&] {
      for (int i = 0; i < 250; ++i) loop.post([&] { ++count; });
    });
  }
  for (auto& poster : posters) poster.join();
  loop.post([&] { loop.stop(); });
  loop.run();
  EXPECT_EQ(count, 1000);
}

}  // namespace
}  // namespace pluvo::platform
