// A minimal environment for the service's tests: it keeps the log lines and offers a caches
// folder when given one; the service touches nothing else of the environment.
#pragma once

#include <cstdlib>
#include <filesystem>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "platform/environment.h"

namespace pluvo::testing {

class LoggingEnvironment final : public platform::Environment {
 public:
  explicit LoggingEnvironment(std::optional<std::filesystem::path> caches = std::nullopt)
      : caches_(std::move(caches)) {}

  std::vector<std::string> lines() const {
    std::lock_guard lock(mutex_);
    return lines_;
  }

  Instant now() override { return Instant{}; }
  TimeZone deviceTimeZone() override { return nullptr; }
  void log(std::string_view line) override {
    std::lock_guard lock(mutex_);
    lines_.emplace_back(line);
  }
  std::optional<std::filesystem::path> appGroupContainer() override { return std::nullopt; }
  std::optional<std::filesystem::path> cachesDirectory() override { return caches_; }
  platform::DefaultsSuite* sharedDefaults() override { return nullptr; }
  bool isRunningInExtension() override { return true; }
  Expected<std::string> readFile(const std::filesystem::path& path) override {
    return fail("not available in this test: " + path.string());
  }
  Expected<void> writeFileAtomically(const std::filesystem::path& path, std::string_view) override {
    return fail("not available in this test: " + path.string());
  }
  platform::WidgetCenter& widgetCenter() override { std::abort(); }
  platform::MainLoop& mainLoop() override { std::abort(); }

 private:
  const std::optional<std::filesystem::path> caches_;
  mutable std::mutex mutex_;  // guards lines_
  std::vector<std::string> lines_;
};

}  // namespace pluvo::testing
