#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include "linux/vcam/NodeWatch.h"
#include "support/TemporaryFolder.h"

namespace quorvex::test {
namespace {

TEST(NodeWatch, tellsOfTheNodesItWatchesWhatHasHappenedToThem) {
  const TemporaryFolder folder;
  NodeWatch watch(folder / "", "video");
  ASSERT_GE(watch.descriptor(), 0);
  const auto seen = [&watch](const auto& change) {
    change();
    const auto changes = watch.take();
    return std::pair(changes.any, changes.created);
  };
  const std::string node = folder / "video7";
  using std::filesystem::perms;
  EXPECT_EQ(seen([&] { std::ofstream(folder / "null") << "x"; }), std::pair(false, false));
  EXPECT_EQ(seen([&] { std::ofstream file(node); }), std::pair(true, true));
  EXPECT_EQ(seen([&] { std::ofstream(node) << "a picture"; }), std::pair(false, false));
  EXPECT_EQ(seen([&] { std::filesystem::permissions(node, perms(0600)); }), std::pair(true, false));
  EXPECT_EQ(seen([&] { std::filesystem::remove(node); }), std::pair(true, false));
}

}  // namespace
}  // namespace quorvex::test
