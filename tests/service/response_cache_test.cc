// The HTTP caching rules (how long an answer stays fresh, how old it is, whether it may be kept,
// how it is revalidated) and the two-tier response cache: least-recently-used eviction in memory
// and on disk, the disk order and entries surviving a new cache instance, torn files dropped
// rather than served, and byte accounts that stay right under concurrent use.
#include "service/response_cache.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <future>
#include <thread>

#include "support/test_support.h"

namespace pluvo::service {
namespace {

using namespace std::chrono_literals;
using std::chrono::hours;
using std::chrono::seconds;
using ::testing::ElementsAre;
using testing::TemporaryDirectory;
namespace fs = std::filesystem;

// Thu, 29 Oct 2026 20:00:00 GMT
const WallTime kNow = std::chrono::system_clock::from_time_t(1'793'304'000);

// An answer generated at `kNow` that took one second to arrive.
CachedResponse answer(HttpHeaders headers) {
  return CachedResponse{200, std::move(headers), "{}", kNow - seconds(1), kNow};
}

// An entry of a little over `size` bytes in its stored form.
CachedResponse entry(char fill, size_t size = 1000) {
  return CachedResponse{
      200, {{"Cache-Control", "max-age=60"}}, std::string(size, fill), kNow, kNow};
}

TEST(CachingRulesTest, FreshnessFollowsMaxAgeThenExpiresThenLastModifiedAndAgeCountsItAll) {
  const std::pair<std::string, std::string> date = {"Date", "Thu, 29 Oct 2026 20:00:00 GMT"};
  // Found by fuzzing: a far-off date or a huge count overflowed the clock's nanosecond count.
  // Counts past 2^31 read as 2^31 seconds; dates past early 2116 as early 2116.
  const seconds longest(std::int64_t{1} << 31);
  const std::pair<HttpHeaders, seconds> cases[] = {
      {{date, {"Cache-Control", "max-age=600"}, {"Expires", "Fri, 30 Oct 2026 01:00:00 GMT"}},
       seconds(600)},
      {{date, {"Expires", "Thu, 29 Oct 2026 22:00:00 GMT"}}, hours(2)},
      {{date, {"Expires", "0"}}, seconds(0)},
      {{{"Cache-Control", "public, max-age=soon"}}, seconds(0)},
      // A tenth of the time since the last change, at most a day.
      {{date, {"Last-Modified", "Thu, 29 Oct 2026 10:00:00 GMT"}}, hours(1)},
      {{date, {"Last-Modified", "Fri, 31 Jul 2026 20:00:00 GMT"}}, hours(24)},
      {{date}, seconds(0)},
      {{{"Cache-Control", "max-age=99999999999999999999"}}, longest},
      {{{"Cache-Control", "max-age=4294967296"}}, longest},
      {{date, {"Expires", "Fri, 31 Dec 9999 23:59:59 GMT"}},
       seconds(4'611'686'018 - 1'793'304'000)},
  };
  for (const auto& [headers, lifetime] : cases) {
    EXPECT_EQ(freshnessLifetime(answer(headers)), lifetime) << ::testing::PrintToString(headers);
  }
  EXPECT_TRUE(isFresh(answer({date, {"Expires", "Fri, 31 Dec 9999 23:59:59 GMT"}}), kNow));
  EXPECT_EQ(currentAge(answer({date, {"Age", "9223372036854775807"}}), kNow), longest + seconds(1));
  // An intermediary held it 100 s, it took 1 s to arrive, and it has been stored 60 s.
  auto viaProxy = answer({date, {"Age", "100"}, {"Cache-Control", "max-age=200"}});
  EXPECT_EQ(currentAge(viaProxy, kNow + seconds(60)), seconds(161));
  EXPECT_TRUE(isFresh(viaProxy, kNow + seconds(98)));
  EXPECT_FALSE(isFresh(viaProxy, kNow + seconds(99)));
  // A Date in the past (a slow clock upstream) ages the answer by the difference.
  EXPECT_EQ(currentAge(answer({{"Date", "Thu, 29 Oct 2026 19:55:00 GMT"}}), kNow), seconds(300));
  EXPECT_FALSE(isFresh(answer({{"Cache-Control", "no-cache, max-age=600"}}), kNow));
}

TEST(CachingRulesTest, StorabilityFollowsStatusAndDirectives) {
  EXPECT_TRUE(isStorable(200, {}));
  EXPECT_TRUE(isStorable(404, {}));
  EXPECT_FALSE(isStorable(500, {}));
  EXPECT_TRUE(isStorable(500, {{"Cache-Control", "max-age=30"}}));
  EXPECT_FALSE(isStorable(206, {{"Cache-Control", "max-age=30"}}));
  EXPECT_FALSE(isStorable(200, {{"cache-control", "max-age=30, NO-STORE"}}));
  EXPECT_FALSE(isStorable(200, {{"Vary", "*"}}));
}

TEST(CachingRulesTest, RevalidationAsksWithTheValidatorsAndMergesTheNotModifiedFields) {
  HttpHeaders fields = {{"ETag", "\"v1\""}, {"Last-Modified", "Thu, 29 Oct 2026 18:00:00 GMT"}};
  CachedResponse stored = answer(fields);
  stored.headers.emplace_back("Cache-Control", "max-age=6");
  EXPECT_THAT(revalidationHeaders(stored),
              ElementsAre("If-None-Match: \"v1\"", "If-Modified-Since: " + fields[1].second));
  EXPECT_THAT(revalidationHeaders(answer({})), ::testing::IsEmpty());

  fields.emplace_back("cache-control", "max-age=600");  // replaces the stored field, any case
  EXPECT_EQ(mergeNotModified(stored, {fields.back(), {"Content-Length", "0"}}, kNow, kNow + 2s),
            (CachedResponse{200, fields, "{}", kNow, kNow + 2s}));
}

TEST(ResponseCacheTest, MemoryEvictsTheLeastRecentlyUsedAndSkipsWhatCannotFit) {
  ResponseCache cache({.memoryCapacity = 2500}, testing::systemWallClock);  // two entries fit
  cache.store("https://a", entry('a'));
  cache.store("https://b", entry('b'));
  ASSERT_TRUE(cache.find("https://a").has_value());  // a is now more recent than b
  cache.store("https://c", entry('c'));
  cache.store("https://huge", entry('h', 3000));  // larger than the whole capacity

  EXPECT_EQ(cache.find("https://b"), std::nullopt);
  EXPECT_EQ(cache.find("https://huge"), std::nullopt);
  EXPECT_EQ(cache.find("https://a"), entry('a'));
  EXPECT_EQ(cache.find("https://c"), entry('c'));
  EXPECT_LE(cache.usage().memoryBytes, 2500u);
}

TEST(ResponseCacheTest, DiskKeepsEntriesAndTheirUseOrderAcrossInstancesAndDropsTornFiles) {
  TemporaryDirectory root;
  // One entry fits in memory: what memory evicts must still come from disk. The URLs' file names
  // sort in the order they are stored, the reverse of their use.
  const CacheConfiguration configuration{
      .directory = root.path(), .memoryCapacity = 1500, .diskCapacity = 2500};
  {
    ResponseCache cache(configuration, testing::systemWallClock);
    cache.store("https://x", entry('x'));
    cache.store("https://y", entry('y'));
    EXPECT_EQ(cache.find("https://x"), entry('x'));  // from disk, and now used after y
  }
  ResponseCache(configuration, testing::systemWallClock)
      .store("https://z", entry('z'));  // y, the least recently used, goes
  ResponseCache cache(configuration, testing::systemWallClock);
  EXPECT_EQ(cache.find("https://y"), std::nullopt);
  EXPECT_EQ(cache.find("https://x"), entry('x'));
  EXPECT_EQ(cache.find("https://z"), entry('z'));

  for (const auto& file : fs::directory_iterator(root.path())) {
    std::string bytes = testing::readFileBytes(file.path());
    testing::writeFileBytes(file.path(), bytes.substr(0, bytes.size() - 10));
  }
  testing::writeFileBytes(root.path() / "0123456789abcdef.response", "not a cache entry");
  // Found by fuzzing: a response time in the year 4733 overflowed the clock when read.
  ResponseCache(configuration, testing::systemWallClock).store("https://far", entry('f', 10));
  for (const auto& file : fs::directory_iterator(root.path())) {
    std::string bytes = testing::readFileBytes(file.path());
    if (bytes.find("https://far\n") == std::string::npos) continue;
    std::string millis = std::to_string(
        std::chrono::duration_cast<std::chrono::milliseconds>(kNow.time_since_epoch()).count());
    bytes.replace(bytes.rfind(millis), millis.size(), "87195431624486");
    testing::writeFileBytes(file.path(), bytes);
  }
  ResponseCache reopened(configuration, testing::systemWallClock);
  EXPECT_EQ(reopened.find("https://x"), std::nullopt);
  EXPECT_EQ(reopened.find("https://far"), std::nullopt);
  EXPECT_EQ(reopened.usage().diskEntries, 2u);
  EXPECT_EQ(std::distance(fs::directory_iterator(root.path()), {}), 2);
}

TEST(ResponseCacheTest, ConcurrentUseKeepsTheAccountsRight) {
  TemporaryDirectory root;
  ResponseCache cache({.directory = root.path(), .memoryCapacity = 8000, .diskCapacity = 8000},
                      testing::systemWallClock);
  {
    std::vector<std::jthread> threads;
    for (int t = 0; t < 4; ++t) {
      threads.emplace_back([&cache, t] {
        for (int i = 0; i < 40; ++i) {
          std::string url = "https://pluvo.test/" + std::to_string((t * 7 + i) % 12);
          i % 3 == 0   ? cache.remove(url)
          : i % 2 == 0 ? cache.store(url, entry(static_cast<char>('a' + t), 900))
                       : void(cache.find(url));
        }
      });
    }
  }
  ResponseCache::Usage usage = cache.usage();
  size_t files = 0, bytes = 0;
  for (const auto& file : fs::directory_iterator(root.path())) {
    ++files;
    bytes += file.file_size();
  }
  EXPECT_EQ(files, usage.diskEntries);
  EXPECT_EQ(bytes, usage.diskBytes);
  EXPECT_LE(bytes, 8000u);
  EXPECT_LE(usage.memoryBytes, 8000u);
}

// A disk that stalls on one entry's file (here a pipe nobody writes yet) holds up no other use.
TEST(ResponseCacheTest, ANamedPipeForAnEntryIsDroppedAtOnceAndHoldsUpNoOther) {
  TemporaryDirectory root;
  ResponseCache({.directory = root.path()}, testing::systemWallClock)
      .store("https://a", entry('a'));
  ResponseCache cache({.directory = root.path()}, testing::systemWallClock);
  cache.store("https://b", entry('b'));
  const fs::path pipe = root.path() / "8dc2b015d78ab66d.response";  // https://a
  ASSERT_TRUE(fs::exists(pipe));
  fs::remove(pipe);
  ASSERT_EQ(::mkfifo(pipe.c_str(), 0600), 0);

  // Nobody ever writes to the pipe: a reader that waited for a writer would never return.
  auto readingA = std::async(std::launch::async, [&] { return cache.find("https://a"); });
  auto usingB = std::async(std::launch::async, [&] {
    cache.store("https://c", entry('c'));
    return cache.find("https://b");
  });
  ASSERT_EQ(readingA.wait_for(20s), std::future_status::ready) << "the pipe was waited on";
  ASSERT_EQ(usingB.wait_for(20s), std::future_status::ready);
  EXPECT_EQ(readingA.get(), std::nullopt);
  EXPECT_EQ(usingB.get(), entry('b'));
}

}  // namespace
}  // namespace pluvo::service
