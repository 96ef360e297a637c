#include "show/ExtCommCache.h"

#include <gtest/gtest.h>

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

}  // namespace
}  // namespace BgpShowCli::test
