// Tests of lists of device roots: how they are read, divided, and held to name each device once.
#include "tool/fleet/RootList.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <set>

#include "testing/TemporaryDirectory.h"

namespace accountsettings::testing {
namespace {

namespace fs = std::filesystem;

std::vector<std::string> pathsOf(const RootList& roots) {
  std::vector<std::string> paths;
  for (std::size_t index = 0; index < roots.size(); ++index) paths.emplace_back(roots[index]);
  return paths;
}

RootList listOf(const std::vector<std::string>& paths) {
  RootList roots;
  for (const std::string& each : paths) roots.add(each);
  return roots;
}

TEST(RootList, HasAPathOnEachLineOrEndedByANul) {
  RootList lines;
  EXPECT_TRUE(lines.addLines("/a\n\n/b c\n/d", false));
  EXPECT_EQ(pathsOf(lines), (std::vector<std::string>{"/a", "/b c", "/d"}));
  RootList ended;
  EXPECT_TRUE(ended.addLines(std::string_view("/a\n\0/b\0", 7), true));
  EXPECT_EQ(pathsOf(ended), (std::vector<std::string>{"/a\n", "/b"}));
  EXPECT_FALSE(RootList().addLines(std::string_view("/a\0/b\0", 6), false));
}

TEST(RootList, BecomesAbsolute) {
  const std::string here = fs::current_path();
  EXPECT_EQ(pathsOf(listOf({"/", "/a//", "b", "./c/"}).absolute().value()),
            (std::vector<std::string>{"/", "/a", here + "/b", here + "/./c"}));
}

TEST(RootList, NamesADeviceThatIsListedTwiceOrLiesInAnother) {
  const TemporaryDirectory directory;
  const std::string base = directory.path();
  fs::create_directories(base + "/a/inner");
  fs::create_directories(base + "/a-b");
  fs::create_symlink(base + "/a", base + "/link");
  fs::create_symlink(base, base + "/here");
  const auto refusal = [](const std::vector<std::string>& paths) {
    const Status status = listOf(paths).requireSeparate();
    return status ? "" : status.error().message;
  };
  EXPECT_EQ(refusal({base + "/a", base + "/a-b", base + "/ab", base + "/a.b", base + "/none"}), "");
  EXPECT_EQ(refusal({"/a\xc3\xa4",
                     "/a\xc3\xa4"
                     "b",
                     "/a", "/b"}),
            "");
  const std::string twice = base + "/a: this root is listed twice";
  for (const char* other :
       {"/a", "/a/", "/./a", "/a-b/../a", "/link", "/here/a", "/link/.", "/a/inner/.."}) {
    EXPECT_EQ(refusal({base + "/x", base + "/a", base + other}), twice) << other;
  }
  const std::string inside = base + "/a/inner: this root lies inside another one, " + base + "/a";
  for (const char* other : {"/a/inner", "/link/inner", "/here/a/inner/"}) {
    EXPECT_EQ(refusal({base + other, base + "/a-b", base + "/a", base + "/a.b"}), inside) << other;
  }
  EXPECT_NE(refusal({"/", base}), "");
  EXPECT_EQ(refusal({"/none", "/none"}), "/none: this root is listed twice");
  EXPECT_NE(refusal({"/a", "/a\xc3\xa4", "/a/b"}), "");
}

TEST(Shard, IsOneOfSeveral) {
  EXPECT_TRUE(shardIn("1/1"));
  EXPECT_TRUE(shardIn("3/3"));
  for (const char* wrong :
       {"", "1", "/", "1/", "/1", "0/2", "3/2", "-1/2", "1/2x", " 1/2", "1/0"}) {
    EXPECT_FALSE(shardIn(wrong)) << wrong;
  }
}

TEST(Shard, PartsHoldEachRootOnceAndAboutAsManyEach) {
  RootList roots;
  for (int i = 0; i < 3000; ++i) roots.add("/srv/devices/" + std::to_string(i));
  std::multiset<std::string> seen;
  for (std::uint64_t part = 1; part <= 3; ++part) {
    const auto held = pathsOf(roots.in({part, 3}, roots));
    EXPECT_GT(held.size(), 850U);
    EXPECT_LT(held.size(), 1150U);
    seen.insert(held.begin(), held.end());
  }
  const auto all = pathsOf(roots);
  EXPECT_EQ(seen, std::multiset<std::string>(all.begin(), all.end()));
}

// Machines of different releases may share a list.
TEST(Shard, StaysTheSameInEveryRelease) {
  std::string parts;
  for (const char* root : {"/a", "/b", "/srv/devices/0001", "x"}) {
    for (std::uint64_t part = 1; part <= 5; ++part) {
      if (Shard{part, 5}.holds(root)) parts += std::to_string(part);
    }
  }
  EXPECT_EQ(parts, "4545");
}

TEST(RootIndex, FindsThePlaceOfARoot) {
  const RootList roots = listOf({"/b", "/a", "/c"});
  const RootIndex index(roots);
  EXPECT_EQ(index.find("/a"), 1U);
  EXPECT_EQ(index.find("/c"), 2U);
  EXPECT_EQ(index.find("/"), std::nullopt);
  EXPECT_EQ(index.find("/d"), std::nullopt);
}

}  // namespace
}  // namespace accountsettings::testing
