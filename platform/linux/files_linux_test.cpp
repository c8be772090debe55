// Files, moves, tags and enumeration on a real file system; limits in processes of their own.
#include "platform/linux/files_linux.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <thread>

#include "platform/linux/access_scope.h"

namespace platform {
namespace {

using std::filesystem::path;
using testing::ElementsAre;
using testing::UnorderedElementsAre;

class FilesTest : public testing::Test {
 protected:
  void SetUp() override {
    std::string name = (std::filesystem::temp_directory_path() / "files.XXXXXX").string();
    ASSERT_NE(mkdtemp(name.data()), nullptr);
    root_ = std::filesystem::canonical(name);
    for (const char* folder : {"granted", "outside", "tmp", "config", "data"}) std::filesystem::create_directory(root_ / folder);
  }
  void TearDown() override { std::filesystem::remove_all(root_); }

  std::string at(const std::string& name) const { return (root_ / name).string(); }
  void write(const std::string& name, const std::string& text) const {
    std::filesystem::create_directories((root_ / name).parent_path());
    std::ofstream(root_ / name, std::ios::binary) << text;
  }
  std::string read(const std::string& name) const {
    std::ifstream stream(root_ / name, std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), {}};
  }

  // What body returns (0 to 100), from a process limited to the folder "granted".
  template <typename Body>
  int limited(const std::string& granted, Body body) {
    const pid_t child = fork();
    if (child == 0) {
      setenv("TMPDIR", at("tmp").c_str(), 1);
      setenv("XDG_CONFIG_HOME", at("config").c_str(), 1);
      setenv("XDG_DATA_HOME", at("data").c_str(), 1);
      AccessScope::shared().limit(at(granted));
      _exit(body());
    }
    int status = 0;
    waitpid(child, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : 101;
  }

  // The names that an enumeration yields, relative to the folder, and those it fails for, with the code.
  std::vector<std::string> enumerated(const std::string& folder, unsigned options) {
    std::vector<std::string> names;
    const bool possible = files_.enumerate(
        at(folder), options, [&](const std::string& item) { names.push_back(item.substr(at(folder).size() + 1)); },
        [&](const std::string& item, bool, const PlatformError& error) {
          names.push_back("error " + std::to_string(error.code) + " " + std::filesystem::relative(item, at(folder)).string());
          return true;
        });
    EXPECT_TRUE(possible);
    return names;
  }

  LinuxFileManager files_;
  path root_;
};

TEST_F(FilesTest, readsWholeFilesAndSaysWhyNot) {
  write("a", std::string("x\0y", 3));
  EXPECT_EQ(files_.readFile(at("a"))->size(), 3u);
  EXPECT_EQ(files_.readFile(at("missing")).error().code, 260);
  EXPECT_EQ(files_.readFile(at("granted")).error().code, 256);
  EXPECT_EQ(files_.readFile(at("a/b")).error().code, 256);
  EXPECT_EQ(files_.readFile("").error().code, 258);
  ASSERT_EQ(mkfifo(at("pipe").c_str(), 0600), 0);
  EXPECT_FALSE(files_.readFile(at("pipe")));
  EXPECT_FALSE(files_.readFile("/dev/zero"));
}

TEST_F(FilesTest, givesTheAttributesOfWhereALinkLeads) {
  write("a", "12345");
  std::filesystem::create_symlink(at("a"), at("link"));
  std::filesystem::create_symlink(at("nowhere"), at("dangling"));
  const TimePoint time(std::chrono::seconds(1000000000) + std::chrono::nanoseconds(123456789));
  ASSERT_TRUE(files_.setAttributes({std::nullopt, time}, at("link")));
  const Result<FileAttributes> attributes = files_.attributesOfItem(at("link"));
  ASSERT_TRUE(attributes);
  EXPECT_EQ(attributes->size, 5);
  EXPECT_EQ(attributes->modificationDate, time);
  EXPECT_TRUE(files_.fileExists(at("link")));
  EXPECT_FALSE(files_.fileExists(at("dangling")));
  EXPECT_EQ(files_.attributesOfItem(at("dangling")).error().code, 260);
  EXPECT_EQ(files_.setAttributes({std::nullopt, time}, at("missing")).error().code, 4);
  ASSERT_TRUE(files_.setAttributes({time, std::nullopt}, at("a")));  // which cannot be set here
  EXPECT_EQ(files_.attributesOfItem(at("a"))->modificationDate, time);
}

TEST_F(FilesTest, makesFoldersWithTheirParents) {
  EXPECT_TRUE(files_.createDirectory(at("x/y/z")));
  EXPECT_TRUE(std::filesystem::is_directory(at("x/y/z")));
  EXPECT_TRUE(files_.createDirectory(at("x/y/z")));
  write("file", "");
  EXPECT_EQ(files_.createDirectory(at("file")).error().code, 516);
  EXPECT_FALSE(files_.createDirectory(at("file/below")));
}

TEST_F(FilesTest, neverOverwritesInAMove) {
  write("a", "a");
  write("b", "b");
  std::filesystem::create_symlink(at("nowhere"), at("dangling"));
  for (const char* taken : {"b", "dangling", "granted", "a"}) {
    const Status moved = files_.moveItem(at("a"), at(taken));
    ASSERT_FALSE(moved) << taken;
    EXPECT_EQ(moved.error().code, 516) << taken;
  }
  EXPECT_EQ(read("a"), "a");
  EXPECT_EQ(read("b"), "b");
  EXPECT_EQ(files_.moveItem(at("missing"), at("c")).error().code, 4);
  EXPECT_EQ(files_.moveItem(at("a"), at("no/such/folder")).error().code, 4);
  EXPECT_TRUE(files_.moveItem(at("a"), at("c")));
  EXPECT_EQ(read("c"), "a");
  EXPECT_FALSE(files_.fileExists(at("a")));
}

TEST_F(FilesTest, copiesAcrossFileSystemsWithAllThatBelongsToAFile) {
  const path other = path("/dev/shm") / root_.filename();
  struct stat here, there;
  if (stat("/dev/shm", &there) != 0 || stat(root_.c_str(), &here) != 0 || here.st_dev == there.st_dev) GTEST_SKIP();
  std::filesystem::create_directory(other);
  write("a", std::string(300000, 'a'));
  chmod(at("a").c_str(), 0640);
  setxattr(at("a").c_str(), "user.note", "n", 1, 0);
  const TimePoint time(std::chrono::seconds(1000000000));
  ASSERT_TRUE(files_.setAttributes({std::nullopt, time}, at("a")));
  std::ofstream(other / "taken") << "taken";

  EXPECT_EQ(files_.moveItem(at("a"), (other / "taken").string()).error().code, 516);
  EXPECT_EQ(files_.moveItem(at("a"), (other / "no" / "folder").string()).error().code, 4);
  EXPECT_EQ(read("a").size(), 300000u);
  ASSERT_TRUE(files_.moveItem(at("a"), (other / "b").string()));
  EXPECT_FALSE(files_.fileExists(at("a")));
  EXPECT_EQ(std::filesystem::file_size(other / "b"), 300000u);
  EXPECT_EQ(files_.attributesOfItem((other / "b").string())->modificationDate, time);
  struct stat info;
  ASSERT_EQ(stat((other / "b").c_str(), &info), 0);
  EXPECT_EQ(info.st_mode & 0777, 0640u);
  char note = 0;
  EXPECT_TRUE(getxattr((other / "b").c_str(), "user.note", &note, 1) < 0 || note == 'n');
  std::vector<std::string> names;
  for (const auto& entry : std::filesystem::directory_iterator(other)) names.push_back(entry.path().filename());
  EXPECT_THAT(names, UnorderedElementsAre("b", "taken"));
  std::filesystem::remove_all(other);
}

TEST_F(FilesTest, removesItems) {
  write("f/deep/a", "a");
  EXPECT_TRUE(files_.removeItem(at("f")));
  EXPECT_EQ(files_.removeItem(at("f")).error().code, 4);
}

TEST_F(FilesTest, keepsTagsInOrder) {
  write("a", "a");
  if (setxattr(at("a").c_str(), "user.test", "x", 1, 0) != 0) GTEST_SKIP() << "no extended attributes here";
  EXPECT_THAT(*files_.tagNames(at("a")), ElementsAre());
  ASSERT_TRUE(files_.setTagNames({}, at("a")));
  ASSERT_TRUE(files_.setTagNames({"Red", "b c", "ä"}, at("a")));
  EXPECT_THAT(*files_.tagNames(at("a")), ElementsAre("Red", "b c", "ä"));
  EXPECT_FALSE(files_.setTagNames({"a,b"}, at("a")));
  EXPECT_FALSE(files_.setTagNames({std::string(100000, 'x')}, at("a")));
  EXPECT_THAT(*files_.tagNames(at("a")), ElementsAre("Red", "b c", "ä"));
  ASSERT_TRUE(files_.setTagNames({}, at("a")));
  EXPECT_THAT(*files_.tagNames(at("a")), ElementsAre());
  EXPECT_EQ(files_.tagNames(at("missing")).error().code, 260);
}

TEST_F(FilesTest, hasNoTagsWhereTheFileSystemHasNoPlaceForThem) {
  EXPECT_THAT(*files_.tagNames("/proc/self/comm"), ElementsAre());
  EXPECT_TRUE(files_.setTagNames({}, "/proc/self/comm"));
  EXPECT_FALSE(files_.setTagNames({"a"}, "/proc/self/comm"));
}

TEST_F(FilesTest, copiesWhatADocumentsCopyShouldCarry) {
  write("from", "a");
  write("to", "b");
  chmod(at("from").c_str(), 04640);
  if (setxattr(at("from").c_str(), "user.xdg.comment", "c", 1, 0) != 0) GTEST_SKIP() << "no extended attributes here";
  setxattr(at("from").c_str(), "user.xdg.tags", "t", 1, 0);
  setxattr(at("from").c_str(), "user.own", "f", 1, 0);
  setxattr(at("to").c_str(), "user.own", "t", 1, 0);
  files_.copyDocumentMetadata(at("from"), at("to"));
  struct stat info;
  ASSERT_EQ(stat(at("to").c_str(), &info), 0);
  EXPECT_EQ(info.st_mode & 07777, 0640u);
  char value = 0;
  EXPECT_EQ(getxattr(at("to").c_str(), "user.xdg.comment", &value, 1), 1);
  EXPECT_EQ(getxattr(at("to").c_str(), "user.own", &value, 1), 1);
  EXPECT_EQ(value, 't');
  EXPECT_EQ(getxattr(at("to").c_str(), "user.xdg.tags", &value, 1), -1);
}

TEST_F(FilesTest, enumeratesWithoutHiddenItemsInsidesOfPackagesAndLinks) {
  write("e/a.pdf", "");
  write("e/.hidden/b.pdf", "");
  write("e/.c.pdf", "");
  write("e/Some.APP/inside.pdf", "");
  write("e/x.framework/d.pdf", "");
  write("e/sub/deep/e.pdf", "");
  write("e/folder.pdf/f.pdf", "");
  std::filesystem::create_symlink(at("e/sub"), at("e/link"));
  std::filesystem::create_symlink("nowhere", at("e/dangling.pdf"));
  const unsigned always = skipHiddenFiles | skipPackageDescendants;
  EXPECT_THAT(enumerated("e", always),
              UnorderedElementsAre("a.pdf", "Some.APP", "x.framework", "x.framework/d.pdf", "sub", "sub/deep", "sub/deep/e.pdf",
                                   "folder.pdf", "folder.pdf/f.pdf", "link", "dangling.pdf"));
  EXPECT_THAT(enumerated("e", always | skipSubdirectoryDescendants),
              UnorderedElementsAre("a.pdf", "Some.APP", "x.framework", "sub", "folder.pdf", "link", "dangling.pdf"));
  EXPECT_THAT(enumerated("e", 0), testing::Contains("Some.APP/inside.pdf"));
  EXPECT_THAT(enumerated("e", 0), testing::Contains(".hidden/b.pdf"));
}

TEST_F(FilesTest, enumeratesParentsBeforeChildrenInTheFileSystemsOrder) {
  for (int i = 0; i < 30; ++i) write("e/" + std::to_string(i * 7919 % 100), "");
  std::vector<std::string> expected;
  for (const auto& entry : std::filesystem::directory_iterator(at("e"))) expected.push_back(entry.path().filename());
  EXPECT_EQ(enumerated("e", 0), expected);
  write("f/x/y/z", "");
  EXPECT_THAT(enumerated("f", 0), ElementsAre("x", "x/y", "x/y/z"));
}

TEST_F(FilesTest, tellsTheHandlerWhatCannotBeEnumerated) {
  EXPECT_THAT(enumerated("missing", 0), ElementsAre("error 260 ."));
  write("file", "");
  EXPECT_THAT(enumerated("file", 0), ElementsAre());
  std::filesystem::create_symlink(at("granted"), at("link"));
  write("granted/a", "");
  EXPECT_THAT(enumerated("link", 0), ElementsAre("a"));
}

TEST_F(FilesTest, isHeldWithinWhatIsGranted) {
  write("granted/a", "a");
  write("granted/sub/b", "b");
  write("outside/secret", "s");
  write("granted-not/c", "c");
  std::filesystem::create_symlink(at("outside"), at("granted/way-out"));
  EXPECT_EQ(limited("granted", [&] {
    if (!files_.readFile(at("granted/a")) || !files_.readFile(at("granted/../granted/sub/b"))) return 1;
    for (const char* outside : {"outside/secret", "granted/way-out/secret", "granted/../outside/secret", "granted-not/c"}) {
      const Result<std::vector<std::uint8_t>> read = files_.readFile(at(outside));
      if (read || read.error().code != 257) return 2;
      if (files_.attributesOfItem(at(outside)) || files_.fileExists(at(outside)) || files_.tagNames(at(outside))) return 3;
      if (files_.setAttributes({}, at(outside)) || files_.removeItem(at(outside)) || files_.trashItem(at(outside))) return 4;
      if (files_.moveItem(at(outside), at("granted/stolen")) || files_.moveItem(at("granted/a"), at(outside))) return 5;
      if (files_.trashItem(at(outside)).error().localizedDescription().find("permission") == std::string::npos) return 6;
      if (open(at(outside).c_str(), O_RDONLY) >= 0) return 7;
    }
    if (files_.createDirectory(at("outside/new")) || files_.createDirectory(at("outside"))) return 8;
    if (files_.createDirectory(at("outside/new")).error().code != 513) return 9;
    if (!files_.createDirectory(at("granted/new/deep")) || !files_.moveItem(at("granted/a"), at("tmp/moved"))) return 10;
    if (!files_.moveItem(at("tmp/moved"), at("granted/new/deep/a"))) return 11;
    return 0;
  }), 0);
  EXPECT_EQ(read("outside/secret"), "s");
  EXPECT_EQ(read("granted/new/deep/a"), "a");
}

TEST_F(FilesTest, movesToTheTrashWithinTheLimits) {
  write("granted/a b%.pdf", "old");
  EXPECT_EQ(limited("granted", [&] { return files_.trashItem(at("granted/a b%.pdf")) ? 0 : 1; }), 0);
  EXPECT_FALSE(std::filesystem::exists(at("granted/a b%.pdf")));
  EXPECT_EQ(read("data/Trash/files/a b%.pdf"), "old");
  EXPECT_THAT(read("data/Trash/info/a b%.pdf.trashinfo"), testing::HasSubstr("granted/a%20b%25.pdf"));
}

TEST_F(FilesTest, hasNoTrashOnAVolumeOfTheSystem) {
  // A volume of its own on most systems, and part of /dev on some.
  struct stat folder, parent;
  ASSERT_EQ(stat("/dev/shm", &folder), 0);
  ASSERT_EQ(stat("/dev", &parent), 0);
  const std::string volume = folder.st_dev == parent.st_dev ? "dev" : "shm";
  const std::string file = "/dev/shm/" + root_.filename().string();
  std::ofstream(file) << "x";
  const Status trashed = files_.trashItem(file);
  unlink(file.c_str());
  ASSERT_FALSE(trashed);
  EXPECT_EQ(trashed.error().code, 3328);
  EXPECT_EQ(trashed.error().localizedDescription(),
            "“" + root_.filename().string() + "” couldn’t be moved to the trash because the volume “" +
                volume + "” doesn’t have one.");
}

TEST_F(FilesTest, canBeGrantedASingleFileOrEverything) {
  write("granted/one.pdf", "1");
  write("granted/two.pdf", "2");
  EXPECT_EQ(limited("granted/one.pdf", [&] {
    return files_.readFile(at("granted/one.pdf")) && !files_.readFile(at("granted/two.pdf")) &&
                   open(at("granted/two.pdf").c_str(), O_RDONLY) < 0
               ? 0
               : 1;
  }), 0);
  EXPECT_EQ(limited("../../../../../../../..", [&] {
    return files_.readFile(at("granted/two.pdf")) && files_.createDirectory(at("outside/new")) ? 0 : 1;
  }), 0);
}

TEST_F(FilesTest, startsNoProgramsWithinTheLimits) {
  EXPECT_EQ(limited("granted", [] {
    execl("/bin/true", "true", static_cast<char*>(nullptr));
    return errno == EPERM || errno == EACCES ? 0 : 1;
  }), 0);
}

}  // namespace
}  // namespace platform
