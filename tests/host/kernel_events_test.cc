// Wall-clock timers at the edges of the clock's range: the farthest deadline is taken, and one
// before the epoch (the kernel refuses negative times) has passed and fires at once.
#include "host/kernel_events.h"

#include <gtest/gtest.h>

#include <future>

namespace pluvo::host {
namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::system_clock;

TEST(WallClockTimer, TheFarthestDeadlineIsTakenAndOneBeforeTheEpochFiresAtOnce) {
  auto events = KernelEvents::create();
  ASSERT_TRUE(events) << events.error().message;
  std::promise<void> firedPromise;
  auto fired = firedPromise.get_future();
  auto timer = (*events)->makeTimer([&] { firedPromise.set_value(); });
  ASSERT_TRUE(timer) << timer.error().message;
  (*events)->start();

  auto farthest = (*timer)->armAt(Clock::time_point::max());
  EXPECT_TRUE(farthest) << farthest.error().message;
  EXPECT_EQ(fired.wait_for(50ms), std::future_status::timeout);
  // Before the epoch (what an overflowed deadline becomes): passed, so it fires.
  ASSERT_TRUE((*timer)->armAt(Clock::time_point{} - 1h));
  EXPECT_EQ(fired.wait_for(10s), std::future_status::ready);
  (*events)->stop();
}

}  // namespace
}  // namespace pluvo::host
