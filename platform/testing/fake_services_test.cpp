// The fakes keep the promises of the headers, so that a test over them means something.
#include "platform/testing/fake_services.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace platform {
namespace {

using testing::ElementsAre;

TEST(FakeFiles, neverOverwriteInAMove) {
  FakeFileManager files;
  files.add("/a", 5);
  files.add("/b", 6);
  const Status moved = files.moveItem("/a", "/b");
  ASSERT_FALSE(moved);
  EXPECT_EQ(moved.error().code, 516);
  EXPECT_TRUE(files.moveItem("/a", "/c"));
  EXPECT_EQ(files.items["/c"].bytes.size(), 5u);
  EXPECT_THAT(files.calls, ElementsAre("moveItem /a -> /b", "moveItem /a -> /c"));
}

TEST(FakeFiles, failWhereATestSaysSo) {
  FakeFileManager files;
  files.add("/a", 5);
  files.fail("trashItem", "/a", FakeFileManager::notAllowed("/a"));
  EXPECT_EQ(files.trashItem("/a").error().code, 513);
  EXPECT_TRUE(files.removeItem("/a"));
  EXPECT_EQ(files.attributesOfItem("/a").error().code, 260);
}

TEST(FakeFiles, enumerateWhatIsBelow) {
  FakeFileManager files;
  files.add("/f/a.pdf", 1);
  files.add("/f/sub/b.pdf", 1);
  files.add("/g/c.pdf", 1);
  std::vector<std::string> flat, deep;
  const auto never = [](const std::string&, bool, const PlatformError&) { return false; };
  files.enumerate("/f", skipSubdirectoryDescendants, [&](const std::string& path) { flat.push_back(path); }, never);
  files.enumerate("/f", 0, [&](const std::string& path) { deep.push_back(path); }, never);
  EXPECT_THAT(flat, ElementsAre("/f/a.pdf"));
  EXPECT_THAT(deep, ElementsAre("/f/a.pdf", "/f/sub/b.pdf"));
}

TEST(FakePreferences, keepWhatIsSetUnlessTheyFail) {
  FakePreferencesStore store;
  store.closed.insert("group");
  EXPECT_EQ(store.suite("group"), nullptr);
  const std::unique_ptr<Preferences> standard = store.standard();
  EXPECT_TRUE(standard->set("n", PropertyList(PropertyList::Value(std::int64_t{5}))));
  EXPECT_EQ(store.standard()->integer("n"), 5);
  store.failing.insert("standard");
  EXPECT_FALSE(standard->remove("n"));
  EXPECT_FALSE(standard->update([](Preferences&) { FAIL(); }));
  EXPECT_EQ(standard->integer("n"), 5);
  EXPECT_THAT(store.calls, ElementsAre("set standard n", "remove standard n", "update standard"));
}

TEST(FakeQueues, runNothingByThemselves) {
  FakeQueues queues;
  int runs = 0;
  const std::unique_ptr<OperationQueue> queue = queues.newOperationQueue();
  queue->setMaxConcurrentOperationCount(2);
  queue->addOperation([&] { ++runs; });
  queues.main.asyncAfter(std::chrono::milliseconds(500), [&] { ++runs; });
  EXPECT_EQ(runs, 0);
  queues.runOperations();
  EXPECT_EQ(runs, 1);
  queues.main.service([&] { return runs == 2; });
  EXPECT_EQ(runs, 2);
  EXPECT_THAT(queues.state->limits, ElementsAre(2));
}

}  // namespace
}  // namespace platform
