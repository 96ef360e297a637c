#include "show/ExtCommCache.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace BgpShowCli::test {
namespace {

TEST(ExtCommCacheTest, TheTwoCachesKeepApart) {
  const ExtCommCache::Ptr cache = ExtCommCacheIs();
  EXPECT_EQ(cache->lookup(7, false), "");
  cache->insert(7, "first", false);
  cache->insert(7, "plain", false);
  EXPECT_EQ(cache->lookup(7, true), "");
  cache->insert(7, "dotted", true);
  EXPECT_EQ(cache->lookup(7, false), "plain");
  EXPECT_EQ(cache->lookup(7, true), "dotted");
  EXPECT_EQ(cache->extCommToStringDel(7), "plain");
  EXPECT_EQ(cache->extCommToStringDel(7), "");
  EXPECT_EQ(cache->lookup(7, true), "dotted");
  cache->extCommToStringIs(~0ul, "all ones");
  cache->extCommToAsdotStringDelAll();
  EXPECT_EQ(cache->extCommToAsdotStringDel(7), "");
  EXPECT_EQ(cache->lookup(~0ul, false), "all ones");
  cache->extCommToStringDelAll();
  EXPECT_TRUE(cache->extCommToString().empty() && cache->extCommToAsdotString().empty());
}

// A peer chooses values that share a bucket of a map whose hash is the value.
TEST(ExtCommCacheTest, ChosenValuesDoNotShareABucket) {
  constexpr std::uint64_t count = 50'000;
  const ExtCommCache::Ptr any = ExtCommCacheIs(), chosen = ExtCommCacheIs();
  for (std::uint64_t n = 0; n < count; ++n) any->insert(n, "text", false);
  const ExtCommCache::Texts& texts = chosen->extCommToString();
  for (std::uint64_t n = 0; n < count; ++n) chosen->insert(n * any->extCommToString().bucket_count(), "text", false);
  std::size_t most = 0;
  for (std::size_t i = 0; i < texts.bucket_count(); ++i) most = std::max(most, texts.bucket_size(i));
  EXPECT_LT(most, 16u);
}

TEST(ExtCommCacheTest, HoldsNoMoreTextsThanItsBound) {
  const ExtCommCache::Ptr cache = ExtCommCacheIs();
  cache->mostTextsIs(3);
  for (std::uint64_t value = 0; value < 7; ++value) cache->insert(value, "text", true);
  EXPECT_EQ(cache->extCommToAsdotString().size(), 1u);
  EXPECT_EQ(cache->lookup(6, true), "text");
  for (std::uint64_t value = 4; value < 7; ++value) cache->insert(value, "again", true);
  EXPECT_EQ(cache->lookup(6, true), "again");  // it was there
  EXPECT_EQ(cache->extCommToAsdotString().size(), 3u);
  cache->mostTextsIs(2);
  EXPECT_EQ(cache->lookup(6, true), "");
}

}  // namespace
}  // namespace BgpShowCli::test
