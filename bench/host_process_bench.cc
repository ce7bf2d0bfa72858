// The real `pluvo-widget host` over 500 rounds, in the colour and the e-paper profile: one host
// process on a container holding the rainy week (fresh, so nothing is fetched; the forecast
// service is a closed port on 127.0.0.1), asked for a new round with SIGHUP as soon as the
// previous one is written, as a panel's reload button does. A round is done when every kind's
// entry is written (the host logs each file it writes).
//
// Reported: the wall time per round; "cpu_per_round_ms", the host's processor time (user and
// system, all threads) per round, from /proc/PID/stat, the first round excluded;
// "rss_peak_MB", the host's peak resident memory over its whole life (VmHWM), and
// "rss_steady_MB", its resident memory after the last round (VmRSS). Goals: e-paper under 70 ms
// a round, both under 30 MB.
#include <benchmark/benchmark.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "widgets/catalogue.h"

extern char** environ;

namespace {

namespace fs = std::filesystem;

// Processor time of `pid`, all its threads, in milliseconds.
double processorMilliseconds(pid_t pid) {
  std::ifstream in("/proc/" + std::to_string(pid) + "/stat");
  std::string stat((std::istreambuf_iterator<char>(in)), {});
  std::istringstream fields(stat.substr(stat.rfind(')') + 2));
  std::string field;
  double ticks = 0;
  // state is field 3; utime and stime are fields 14 and 15.
  for (int i = 3; i <= 15 && fields >> field; ++i) {
    if (i >= 14) ticks += std::stod(field);
  }
  return ticks * 1000.0 / static_cast<double>(::sysconf(_SC_CLK_TCK));
}

// A "VmHWM"/"VmRSS" line of /proc/PID/status, in megabytes.
double statusMegabytes(pid_t pid, std::string_view key) {
  std::ifstream in("/proc/" + std::to_string(pid) + "/status");
  for (std::string line; std::getline(in, line);) {
    if (line.starts_with(key)) return std::stod(line.substr(key.size() + 1)) / 1024;
  }
  return 0;
}

// Reads the host's log until `count` more entry files are written; false when it ended.
bool waitForEntries(FILE* log, size_t count) {
  char* line = nullptr;
  size_t capacity = 0;
  while (count > 0 && ::getline(&line, &capacity, log) > 0) {
    std::string_view text(line);
    if (text.find(" wrote ") != std::string_view::npos && text.find(".json") != text.npos) {
      --count;
    }
  }
  std::free(line);
  return count == 0;
}

void run(const std::vector<std::string>& args) {
  std::vector<char*> argv;
  for (const std::string& a : args) argv.push_back(const_cast<char*>(a.c_str()));
  argv.push_back(nullptr);
  pid_t pid = 0;
  int status = 0;
  if (::posix_spawn(&pid, argv[0], nullptr, nullptr, argv.data(), environ) != 0 ||
      ::waitpid(pid, &status, 0) != pid || !WIFEXITED(status) || WEXITSTATUS(status) != 0) {
    std::fprintf(stderr, "host_process_bench: %s failed\n", args[0].c_str());
    std::exit(1);
  }
}

void hostSighupRounds(benchmark::State& state) {
  const bool epaper = state.range(0) == 1;
  const fs::path temporary =
      fs::is_directory("/dev/shm") ? fs::path("/dev/shm") : fs::temp_directory_path();
  std::string pattern = (temporary / "pluvo-host-bench-XXXXXX").string();
  if (::mkdtemp(pattern.data()) == nullptr) std::abort();
  const fs::path root = pattern;
  fs::create_directories(root / "container");
  std::ofstream(root / "Info.plist")
      << "<?xml version=\"1.0\"?><plist version=\"1.0\"><dict><key>PluvoAPIBaseURL</key>"
         "<string>http://127.0.0.1:9</string></dict></plist>";
  run({PLUVO_CLI, "--now", "2026-10-29T20:00:00Z", "snapshot", "build",
       std::string(PLUVO_SAMPLES_DIR) + "/rainy-week.json", "-o",
       (root / "container" / "pluvo-widget-snapshot.json").string()});

  std::vector<std::string> args = {PLUVO_CLI,
                                   "--now",
                                   "2026-10-29T20:05:00Z",
                                   "--time-zone",
                                   "America/Chicago",
                                   "--container",
                                   (root / "container").string(),
                                   "--caches",
                                   (root / "caches").string(),
                                   "--info",
                                   (root / "Info.plist").string(),
                                   "host",
                                   "--out",
                                   (root / "out").string(),
                                   "--profile",
                                   epaper ? "eink" : "color"};
  std::vector<char*> argv;
  for (std::string& a : args) argv.push_back(a.data());
  argv.push_back(nullptr);
  int log[2];
  if (::pipe(log) != 0) std::abort();
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_adddup2(&actions, log[1], 2);
  posix_spawn_file_actions_addclose(&actions, log[0]);
  pid_t host = 0;
  const int spawned = ::posix_spawn(&host, argv[0], &actions, nullptr, argv.data(), environ);
  posix_spawn_file_actions_destroy(&actions);
  ::close(log[1]);
  FILE* lines = ::fdopen(log[0], "r");
  const size_t kinds = pluvo::widgets::kWidgetCatalogue.size();
  if (spawned != 0 || !waitForEntries(lines, kinds)) {
    state.SkipWithError("the host did not write its first round");
  } else {
    const double cpuBefore = processorMilliseconds(host);
    long rounds = 0;
    for (auto _ : state) {
      auto start = std::chrono::steady_clock::now();
      ::kill(host, SIGHUP);
      if (!waitForEntries(lines, kinds)) {
        state.SkipWithError("the host stopped");
        break;
      }
      state.SetIterationTime(
          std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count());
      ++rounds;
    }
    if (rounds > 0) {
      state.counters["cpu_per_round_ms"] =
          (processorMilliseconds(host) - cpuBefore) / static_cast<double>(rounds);
      state.counters["rss_peak_MB"] = statusMegabytes(host, "VmHWM:");
      state.counters["rss_steady_MB"] = statusMegabytes(host, "VmRSS:");
    }
  }
  state.SetLabel(epaper ? "e-paper" : "colour");
  if (spawned == 0) {
    ::kill(host, SIGTERM);
    // Drain the log so that the host never blocks on a full pipe while it stops.
    waitForEntries(lines, static_cast<size_t>(-1));
    ::waitpid(host, nullptr, 0);
  }
  std::fclose(lines);
  std::error_code ignored;
  fs::remove_all(root, ignored);
}
BENCHMARK(hostSighupRounds)
    ->Arg(0)
    ->Arg(1)
    ->Iterations(500)
    ->Unit(benchmark::kMillisecond)
    ->UseManualTime();

}  // namespace

BENCHMARK_MAIN();
