#include "service/response_cache.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <ctime>
#include <thread>

#include "support/test_support.h"

namespace pluvo::service {
namespace {

using std::chrono::hours;
using std::chrono::seconds;
using ::testing::ElementsAre;
using ::testing::Pair;

// 2026-10-29T20:00:00Z
const WallTime kNoon = std::chrono::system_clock::from_time_t(1'793'304'000);

std::string httpDate(WallTime t) {
  std::time_t seconds = std::chrono::system_clock::to_time_t(t);
  std::tm parts{};
  gmtime_r(&seconds, &parts);
  char text[64];
  std::strftime(text, sizeof text, "%a, %d %b %Y %H:%M:%S GMT", &parts);
  return text;
}

// An answer generated at `kNoon` that took one second to arrive.
CachedResponse answer(HttpHeaders headers, long status = 200) {
  return CachedResponse{status, std::move(headers), "{}", kNoon - seconds(1), kNoon};
}

TEST(CachingRulesTest, FreshnessFollowsMaxAgeThenExpiresThenLastModified) {
  const std::string date = httpDate(kNoon);
  // max-age wins over Expires.
  auto maxAge = answer({{"Date", date},
                        {"Cache-Control", "public, max-age=600"},
                        {"Expires", httpDate(kNoon + hours(5))}});
  EXPECT_EQ(freshnessLifetime(maxAge), seconds(600));
  EXPECT_TRUE(isFresh(maxAge, kNoon + seconds(590)));
  EXPECT_FALSE(isFresh(maxAge, kNoon + seconds(600)));

  auto expires = answer({{"Date", date}, {"Expires", httpDate(kNoon + hours(2))}});
  EXPECT_EQ(freshnessLifetime(expires), hours(2));
  EXPECT_EQ(freshnessLifetime(answer({{"Date", date}, {"Expires", "0"}})), seconds(0));
  EXPECT_EQ(freshnessLifetime(answer({{"Cache-Control", "max-age=soon"}})), seconds(0));

  // A tenth of the time since the last change, at most a day.
  auto changedRecently = answer({{"Date", date}, {"Last-Modified", httpDate(kNoon - hours(10))}});
  auto changedLongAgo =
      answer({{"Date", date}, {"Last-Modified", httpDate(kNoon - hours(24 * 90))}});
  EXPECT_EQ(freshnessLifetime(changedRecently), hours(1));
  EXPECT_EQ(freshnessLifetime(changedLongAgo), hours(24));
  EXPECT_EQ(freshnessLifetime(answer({{"Date", date}})), seconds(0));
}

TEST(CachingRulesTest, AgeCountsTheServersAgeTheFlightAndTheTimeStored) {
  // An intermediary held it 100 s; it took 1 s to arrive; it has been stored 60 s.
  auto viaProxy =
      answer({{"Date", httpDate(kNoon)}, {"Age", "100"}, {"Cache-Control", "max-age=200"}});
  EXPECT_EQ(currentAge(viaProxy, kNoon + seconds(60)), seconds(161));
  EXPECT_TRUE(isFresh(viaProxy, kNoon + seconds(98)));
  EXPECT_FALSE(isFresh(viaProxy, kNoon + seconds(99)));
  // A Date in the past (a slow clock upstream) ages the answer by the difference.
  auto oldDate = answer({{"Date", httpDate(kNoon - seconds(300))}});
  EXPECT_EQ(currentAge(oldDate, kNoon), seconds(300));
  // "no-cache" is stored but must always be revalidated.
  EXPECT_FALSE(isFresh(answer({{"Cache-Control", "no-cache, max-age=600"}}), kNoon));
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
  auto stored = answer({{"ETag", "\"v1\""},
                        {"Last-Modified", "Thu, 29 Oct 2026 18:00:00 GMT"},
                        {"Cache-Control", "max-age=60"},
                        {"Content-Type", "application/json"}});
  EXPECT_THAT(
      revalidationHeaders(stored),
      ElementsAre("If-None-Match: \"v1\"", "If-Modified-Since: Thu, 29 Oct 2026 18:00:00 GMT"));
  EXPECT_TRUE(revalidationHeaders(answer({{"Cache-Control", "max-age=60"}})).empty());

  CachedResponse merged =
      mergeNotModified(stored, {{"cache-control", "max-age=600"}, {"Content-Length", "0"}}, kNoon,
                       kNoon + seconds(2));
  EXPECT_THAT(
      merged.headers,
      ElementsAre(Pair("ETag", "\"v1\""), Pair("Last-Modified", "Thu, 29 Oct 2026 18:00:00 GMT"),
                  Pair("Content-Type", "application/json"), Pair("cache-control", "max-age=600")));
  EXPECT_EQ(merged.body, stored.body);
  EXPECT_EQ(merged.responseTime, kNoon + seconds(2));
}

CachedResponse entryOfBody(std::string body) {
  return CachedResponse{200, {{"Cache-Control", "max-age=60"}}, std::move(body), kNoon, kNoon};
}

TEST(ResponseCacheTest, MemoryEvictsTheLeastRecentlyUsed) {
  // Each entry is a little over 1000 bytes in its stored form; two fit.
  ResponseCache cache({.memoryCapacity = 2500});
  cache.store("https://a", entryOfBody(std::string(1000, 'a')));
  cache.store("https://b", entryOfBody(std::string(1000, 'b')));
  ASSERT_TRUE(cache.find("https://a").has_value());  // a is now more recent than b
  cache.store("https://c", entryOfBody(std::string(1000, 'c')));

  EXPECT_EQ(cache.find("https://b"), std::nullopt);
  EXPECT_EQ(cache.find("https://a"), entryOfBody(std::string(1000, 'a')));
  EXPECT_EQ(cache.find("https://c"), entryOfBody(std::string(1000, 'c')));
  EXPECT_EQ(cache.usage().memoryEntries, 2u);
  EXPECT_LE(cache.usage().memoryBytes, 2500u);

  // An entry larger than the whole capacity is not kept, and does not flush the others.
  cache.store("https://huge", entryOfBody(std::string(3000, 'h')));
  EXPECT_EQ(cache.find("https://huge"), std::nullopt);
  EXPECT_EQ(cache.usage().memoryEntries, 2u);
}

TEST(ResponseCacheTest, DiskKeepsItsOwnLeastRecentlyUsedOrderAcrossInstances) {
  pluvo::testing::TemporaryDirectory root;
  CacheConfiguration configuration{.directory = root.path() / "http-cache",
                                   .memoryCapacity = 0,  // every find reads the disk
                                   .diskCapacity = 2500};
  {
    ResponseCache cache(configuration);
    cache.store("https://a", entryOfBody(std::string(1000, 'a')));
    cache.store("https://b", entryOfBody(std::string(1000, 'b')));
    ASSERT_TRUE(cache.find("https://a").has_value());
    cache.store("https://c", entryOfBody(std::string(1000, 'c')));
    EXPECT_EQ(cache.usage().diskEntries, 2u);
    EXPECT_EQ(cache.usage().memoryEntries, 0u);
  }
  {
    ResponseCache cache(configuration);  // rebuilds the order from the files
    EXPECT_EQ(cache.find("https://b"), std::nullopt);
    cache.store("https://d", entryOfBody(std::string(1000, 'd')));  // a is now the oldest use
  }
  ResponseCache cache(configuration);
  EXPECT_EQ(cache.find("https://a"), std::nullopt);
  EXPECT_EQ(cache.find("https://c"), entryOfBody(std::string(1000, 'c')));
  EXPECT_EQ(cache.find("https://d"), entryOfBody(std::string(1000, 'd')));
}

TEST(ResponseCacheTest, MemoryEvictionLeavesTheDiskCopy) {
  pluvo::testing::TemporaryDirectory root;
  ResponseCache cache({.directory = root.path(), .memoryCapacity = 1500, .diskCapacity = 100'000});
  cache.store("https://a", entryOfBody(std::string(1000, 'a')));
  cache.store("https://b", entryOfBody(std::string(1000, 'b')));

  EXPECT_EQ(cache.usage().memoryEntries, 1u);
  EXPECT_EQ(cache.find("https://a"), entryOfBody(std::string(1000, 'a')));
}

TEST(ResponseCacheTest, TornOrForeignFilesAreDroppedNotServed) {
  pluvo::testing::TemporaryDirectory root;
  CacheConfiguration configuration{.directory = root.path()};
  CachedResponse response{200, {{"ETag", "\"v1\""}}, std::string(5000, 'x'), kNoon, kNoon};
  {
    ResponseCache cache(configuration);
    cache.store("https://pluvo.test/chart?location=Oslo", response);
  }
  std::vector<std::filesystem::path> files;
  for (const auto& entry : std::filesystem::directory_iterator(root.path())) {
    files.push_back(entry.path());
  }
  ASSERT_EQ(files.size(), 1u);
  {
    ResponseCache cache(configuration);
    EXPECT_EQ(cache.find("https://pluvo.test/chart?location=Oslo"), response);
  }
  std::string bytes = pluvo::testing::readFileBytes(files[0]);
  pluvo::testing::writeFileBytes(files[0], bytes.substr(0, bytes.size() - 10));  // torn
  pluvo::testing::writeFileBytes(root.path() / "0123456789abcdef.response", "not a cache entry");

  ResponseCache cache(configuration);
  EXPECT_EQ(cache.usage().diskEntries, 2u);
  EXPECT_EQ(cache.find("https://pluvo.test/chart?location=Oslo"), std::nullopt);
  EXPECT_FALSE(std::filesystem::exists(files[0]));
  EXPECT_EQ(cache.usage().diskEntries, 1u);
}

TEST(ResponseCacheTest, ConcurrentUseKeepsTheAccountsRight) {
  pluvo::testing::TemporaryDirectory root;
  ResponseCache cache({.directory = root.path(), .memoryCapacity = 8000, .diskCapacity = 8000});
  {
    std::vector<std::jthread> threads;
    for (int t = 0; t < 4; ++t) {
      threads.emplace_back([&cache, t] {
        for (int i = 0; i < 40; ++i) {
          std::string url = "https://pluvo.test/" + std::to_string((t * 7 + i) % 12);
          if (i % 3 == 0) {
            cache.remove(url);
          } else if (i % 2 == 0) {
            cache.store(url, entryOfBody(std::string(900, static_cast<char>('a' + t))));
          } else {
            cache.find(url);
          }
        }
      });
    }
  }
  ResponseCache::Usage usage = cache.usage();
  EXPECT_LE(usage.memoryBytes, 8000u);
  EXPECT_LE(usage.diskBytes, 8000u);
  size_t filesOnDisk = 0, bytesOnDisk = 0;
  for (const auto& entry : std::filesystem::directory_iterator(root.path())) {
    ++filesOnDisk;
    bytesOnDisk += entry.file_size();
  }
  EXPECT_EQ(filesOnDisk, usage.diskEntries);
  EXPECT_EQ(bytesOnDisk, usage.diskBytes);
}

}  // namespace
}  // namespace pluvo::service
