// A program running in the background for end-to-end tests, with its standard output and error
// going to files that the test reads while it runs; and a patient poll for what it does.
//
//   ChildProcess host({cli, "host", "--out", out});
//   ASSERT_TRUE(eventually([&] { return count(host.output(), "wrote") == 5; }));
//   host.signal(SIGTERM);
//   EXPECT_EQ(host.waitForExit(10s), 0);
//
// Thread safety: one test thread per child.
#pragma once

#include <sys/types.h>

#include <chrono>
#include <filesystem>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "support/test_support.h"

namespace pluvo::testing {

class ChildProcess {
 public:
  explicit ChildProcess(const std::vector<std::string>& argv);
  // Kills a child still running (SIGKILL) and reaps it.
  ~ChildProcess();
  ChildProcess(const ChildProcess&) = delete;
  ChildProcess& operator=(const ChildProcess&) = delete;

  pid_t pid() const { return pid_; }
  std::string output() const;
  std::string errors() const;
  void signal(int number);
  // The exit status (128 + signal when killed), or nullopt while it still runs after `limit`.
  std::optional<int> waitForExit(std::chrono::milliseconds limit);

 private:
  TemporaryDirectory scratch_;
  pid_t pid_ = -1;
  std::optional<int> status_;
};

// Checks `condition` every 20 ms until it holds (true) or `limit` has passed (false). The
// limit is generous: it only bounds a test that is failing anyway.
bool eventually(const std::function<bool()>& condition,
                std::chrono::milliseconds limit = std::chrono::seconds(30));

}  // namespace pluvo::testing
