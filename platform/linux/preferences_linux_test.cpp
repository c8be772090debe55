// Preferences survive what can happen to a program and to its disk.
#include "platform/linux/preferences_linux.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/file.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <random>

namespace platform {
namespace {

using testing::HasSubstr;
using Value = PropertyList::Value;

PropertyList number(std::int64_t value) { return PropertyList(Value(value)); }

class PreferencesTest : public testing::Test {
 protected:
  void SetUp() override {
    std::string name = (std::filesystem::temp_directory_path() / "preferences.XXXXXX").string();
    ASSERT_NE(mkdtemp(name.data()), nullptr);
    root_ = name;
    setenv("XDG_CONFIG_HOME", (root_ / "not" / "yet" / "there").c_str(), 1);
  }
  void TearDown() override { std::filesystem::remove_all(root_); }

  std::filesystem::path folder() const { return root_ / "not" / "yet" / "there" / "kelvara"; }
  std::filesystem::path file() const { return folder() / "group.test.plist"; }
  std::unique_ptr<Preferences> suite() { return store_.suite("group.test"); }

  void write(const std::string& text) {
    std::filesystem::create_directories(folder());
    std::ofstream(file(), std::ios::binary) << text;
  }
  std::string content() {
    std::ifstream stream(file(), std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), {}};
  }

  // Runs body in a process of its own and gives that process's number.
  template <typename Body>
  pid_t start(Body body) {
    const pid_t child = fork();
    if (child == 0) {
      body();
      _exit(0);
    }
    return child;
  }
  static int statusOf(pid_t child) {
    int status = 0;
    waitpid(child, &status, 0);
    return status;
  }

  LinuxPreferencesStore store_;
  std::filesystem::path root_;
};

TEST_F(PreferencesTest, startEmptyAndKeepWhatIsSet) {
  const std::unique_ptr<Preferences> preferences = suite();
  ASSERT_NE(preferences, nullptr);
  EXPECT_EQ(preferences->integer("n"), 0);
  EXPECT_FALSE(preferences->object("n"));
  EXPECT_FALSE(std::filesystem::exists(folder()));  // looking makes nothing
  ASSERT_TRUE(preferences->set("n", number(5)));
  EXPECT_EQ(suite()->integer("n"), 5);
  EXPECT_EQ(store_.standard()->integer("n"), 0);
  ASSERT_TRUE(suite()->remove("n"));
  EXPECT_FALSE(preferences->object("n"));
}

TEST_F(PreferencesTest, seeWhatAnotherProgramWroteAndKeepItsKeys) {
  const std::unique_ptr<Preferences> preferences = suite();
  ASSERT_TRUE(preferences->set("mine", number(1)));
  write("{ theirs = (a, b); mine = 7; }");
  EXPECT_EQ(preferences->integer("mine"), 7);
  ASSERT_TRUE(preferences->set("mine", number(2)));
  EXPECT_EQ(suite()->object("theirs")->arrayItems()->size(), 2u);
}

TEST_F(PreferencesTest, areTheUsersAlone) {
  ASSERT_TRUE(suite()->set("n", number(1)));
  struct stat info;
  ASSERT_EQ(stat(file().c_str(), &info), 0);
  EXPECT_EQ(info.st_mode & 0777, 0600u);
  ASSERT_EQ(stat(folder().c_str(), &info), 0);
  EXPECT_EQ(info.st_mode & 0777, 0700u);
}

TEST_F(PreferencesTest, readNumbersFlagsAndDataByTheRules) {
  write(R"(<dict>
    <key>text</key><string>12 files</string> <key>negative</key><string>-3</string> <key>word</key><string>x12</string>
    <key>real</key><real>2.9</real> <key>flag</key><true/> <key>array</key><array/> <key>data</key><data>AAE=</data>
    <key>yes</key><string> YES</string> <key>no</key><string>NO</string> <key>zero</key><string>-000</string>
    <key>one</key><string>+001</string> <key>huge</key><real>1e300</real> <key>false</key><false/> <key>half</key><real>0.5</real>
  </dict>)");
  const std::unique_ptr<Preferences> preferences = suite();
  for (const auto& [key, expected] : std::map<std::string, std::int64_t>{
           {"text", 12}, {"negative", -3}, {"word", 0}, {"real", 2}, {"flag", 1}, {"array", 0}, {"data", 0}, {"absent", 0}, {"huge", INT64_MAX}})
    EXPECT_EQ(preferences->integer(key), expected) << key;
  for (const auto& [key, expected] :
       std::map<std::string, bool>{{"text", true}, {"negative", true}, {"word", false}, {"real", true}, {"flag", true}, {"array", false},
                                   {"data", false}, {"absent", false}, {"yes", true}, {"no", false}, {"zero", false}, {"one", true},
                                   {"false", false}, {"half", true}})
    EXPECT_EQ(preferences->boolean(key), expected) << key;
  EXPECT_EQ(preferences->data("data"), (std::vector<std::uint8_t>{0, 1}));
  EXPECT_EQ(preferences->data("text"), std::nullopt);
}

TEST_F(PreferencesTest, neverOverwriteWhatIsDamaged) {
  for (const std::string text : {"", "<plist><dict>", "bplist00 cut off", "<array/>", "just words here", "\xFF\xFE\xFF"}) {
    write("{ n = 1; }");
    const std::unique_ptr<Preferences> opened = suite();
    write(text);
    EXPECT_EQ(suite(), nullptr) << text;
    EXPECT_FALSE(opened->set("n", number(2))) << text;
    EXPECT_FALSE(opened->object("n"));
    EXPECT_EQ(content(), text);
  }
}

TEST_F(PreferencesTest, cannotBeOpenedWhereAFolderOrAPipeStands) {
  std::filesystem::create_directories(file());
  EXPECT_EQ(suite(), nullptr);
  std::filesystem::remove(file());
  ASSERT_EQ(mkfifo(file().c_str(), 0600), 0);
  EXPECT_EQ(suite(), nullptr);
}

TEST_F(PreferencesTest, takeAnUpdateAsAWhole) {
  ASSERT_TRUE(suite()->set("a", number(1)));
  ASSERT_TRUE(suite()->update([&](Preferences& inside) {
    EXPECT_TRUE(inside.set("a", number(2)));
    EXPECT_TRUE(inside.set("b", number(3)));
    EXPECT_EQ(inside.integer("a"), 2);
    EXPECT_EQ(suite()->integer("a"), 1);  // not on the disk yet
  }));
  EXPECT_EQ(suite()->integer("a"), 2);
  EXPECT_EQ(suite()->integer("b"), 3);
}

TEST_F(PreferencesTest, keepTheOldStateWhereAValueCannotBeWritten) {
  ASSERT_TRUE(suite()->set("a", number(1)));
  const std::string before = content();
  EXPECT_FALSE(suite()->set("a", PropertyList(Value(std::string("\x01")))));
  EXPECT_FALSE(suite()->set("a", PropertyList()));
  EXPECT_EQ(content(), before);
}

TEST_F(PreferencesTest, keepTheOldStateWhenTheDiskIsFull) {
  ASSERT_TRUE(suite()->set("a", number(1)));
  const std::string before = content();
  const pid_t child = start([&] {
    signal(SIGXFSZ, SIG_IGN);
    const rlimit limit = {100, 100};
    setrlimit(RLIMIT_FSIZE, &limit);
    const Status status = suite()->set("b", PropertyList(Value(std::string(10000, 'x'))));
    _exit(status.ok() ? 1 : 0);
  });
  EXPECT_EQ(statusOf(child), 0);
  EXPECT_EQ(content(), before);
  ASSERT_TRUE(suite()->set("c", number(3)));
  EXPECT_EQ(suite()->integer("a"), 1);
}

TEST_F(PreferencesTest, followALinkToWhereTheyAreKept) {
  std::filesystem::create_directories(root_ / "elsewhere");
  std::filesystem::create_directories(folder());
  std::ofstream(root_ / "elsewhere" / "kept.plist") << "{ a = 1; }";
  std::filesystem::create_symlink(root_ / "elsewhere" / "kept.plist", file());
  ASSERT_TRUE(suite()->set("b", number(2)));
  EXPECT_TRUE(std::filesystem::is_symlink(file()));
  EXPECT_EQ(suite()->integer("a"), 1);
  EXPECT_EQ(suite()->integer("b"), 2);
}

TEST_F(PreferencesTest, giveUpOnALockThatNobodyReturns) {
  ASSERT_TRUE(suite()->set("a", number(1)));
  const int lock = open((file().string() + ".lock").c_str(), O_RDWR);
  ASSERT_EQ(flock(lock, LOCK_EX), 0);
  LinuxPreferencesStore impatient(std::chrono::milliseconds(50));
  const Status status = impatient.suite("group.test")->update([](Preferences&) { FAIL(); });
  EXPECT_FALSE(status);
  close(lock);
  EXPECT_TRUE(suite()->set("a", number(2)));
}

TEST_F(PreferencesTest, keepEveryAdditionOf16Processes) {
  constexpr int processes = 16, additions = 25;
  std::vector<pid_t> children;
  for (int i = 0; i < processes; ++i) {
    children.push_back(start([&] {
      LinuxPreferencesStore store;
      const std::unique_ptr<Preferences> preferences = store.suite("group.test");
      for (int n = 0; n < additions; ++n) {
        const Status status = preferences->update([](Preferences& inside) {
          (void)inside.set("first", number(inside.integer("first") + 1));
          (void)inside.set("second", number(inside.integer("second") + 3));
        });
        if (!status) _exit(1);
      }
    }));
  }
  for (const pid_t child : children) EXPECT_EQ(statusOf(child), 0);
  EXPECT_EQ(suite()->integer("first"), processes * additions);
  EXPECT_EQ(suite()->integer("second"), 3 * processes * additions);
}

TEST_F(PreferencesTest, surviveAKillAtAnyMoment) {
  ASSERT_TRUE(suite()->set("n", number(0)));
  std::mt19937 random(1);
  std::int64_t last = 0;
  for (int round = 0; round < 60; ++round) {
    const pid_t child = start([&] {
      const std::unique_ptr<Preferences> preferences = suite();
      for (;;) {
        (void)preferences->update([](Preferences& inside) {
          (void)inside.set("padding", PropertyList(Value(std::string(50000, 'x'))));
          (void)inside.set("n", number(inside.integer("n") + 1));
          (void)inside.set("twice", number(2 * inside.integer("n")));
        });
      }
    });
    usleep(static_cast<useconds_t>(random() % 15000));
    kill(child, SIGKILL);
    statusOf(child);
    const std::unique_ptr<Preferences> preferences = suite();
    ASSERT_NE(preferences, nullptr);
    const std::int64_t now = preferences->integer("n");
    ASSERT_GE(now, last);
    ASSERT_EQ(preferences->integer("twice"), 2 * now);
    last = now;
  }
  EXPECT_GT(last, 0);
  ASSERT_TRUE(suite()->set("n", number(0)));
  std::vector<std::string> names;
  for (const auto& entry : std::filesystem::directory_iterator(folder())) names.push_back(entry.path().filename());
  EXPECT_THAT(names, testing::UnorderedElementsAre("group.test.plist", "group.test.plist.lock"));
}

}  // namespace
}  // namespace platform
