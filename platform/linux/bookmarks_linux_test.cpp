#include "platform/linux/bookmarks_linux.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>

#include "platform/property_list.h"

namespace platform {
namespace {

using std::filesystem::path;

class BookmarksTest : public testing::Test {
 protected:
  void SetUp() override {
    std::string name = (std::filesystem::temp_directory_path() / "bookmarks.XXXXXX").string();
    ASSERT_NE(mkdtemp(name.data()), nullptr);
    root_ = std::filesystem::canonical(name);
    setenv("HOME", root_.c_str(), 1);
    std::filesystem::create_directories(root_ / "home" / "documents");
  }
  void TearDown() override { std::filesystem::remove_all(root_); }

  std::vector<std::uint8_t> bookmarkOf(const path& location) {
    const Result<std::vector<std::uint8_t>> data = bookmarks_.create(location.string(), Bookmarks::withSecurityScope);
    EXPECT_TRUE(data);
    return data ? *data : std::vector<std::uint8_t>();
  }
  Result<ResolvedBookmark> resolve(const std::vector<std::uint8_t>& data) {
    return bookmarks_.resolve(data, Bookmarks::resolveWithSecurityScope | Bookmarks::withoutUserInterface);
  }
  void expectFound(const std::vector<std::uint8_t>& data, const path& location, bool stale) {
    const Result<ResolvedBookmark> found = resolve(data);
    ASSERT_TRUE(found);
    EXPECT_EQ(found->path, location);
    EXPECT_EQ(found->stale, stale);
  }

  LinuxBookmarks bookmarks_;
  path root_;
};

TEST_F(BookmarksTest, leadBackToTheirLocation) {
  for (const char* name : {"documents", "blank and\nbreak", "not utf-8 \xFF", "file.pdf"}) {
    const path location = root_ / "home" / name;
    std::filesystem::create_directories(location);
    expectFound(bookmarkOf(location), location, false);
  }
}

TEST_F(BookmarksTest, followARename) {
  const std::vector<std::uint8_t> data = bookmarkOf(root_ / "home" / "documents");
  std::filesystem::rename(root_ / "home" / "documents", root_ / "home" / "papers");
  expectFound(data, root_ / "home" / "papers", true);
}

TEST_F(BookmarksTest, followAMove) {
  const std::vector<std::uint8_t> data = bookmarkOf(root_ / "home" / "documents");
  std::filesystem::create_directories(root_ / "other" / "deep");
  std::filesystem::rename(root_ / "home" / "documents", root_ / "other" / "deep" / "papers");
  expectFound(data, root_ / "other" / "deep" / "papers", true);
}

TEST_F(BookmarksTest, preferTheFolderItselfToItsOldName) {
  const std::vector<std::uint8_t> data = bookmarkOf(root_ / "home" / "documents");
  std::filesystem::rename(root_ / "home" / "documents", root_ / "home" / "papers");
  std::filesystem::create_directory(root_ / "home" / "documents");
  expectFound(data, root_ / "home" / "papers", true);
}

TEST_F(BookmarksTest, takeAFolderMadeAnewUnderTheOldName) {
  std::filesystem::create_directory(root_ / "home" / "documents" / "keeps the inode number taken");
  const std::vector<std::uint8_t> data = bookmarkOf(root_ / "home" / "documents");
  std::filesystem::remove_all(root_ / "home" / "documents");
  std::filesystem::create_directory(root_ / "home" / "documents");
  expectFound(data, root_ / "home" / "documents", true);
}

TEST_F(BookmarksTest, sayWhenTheLocationIsGone) {
  const std::vector<std::uint8_t> data = bookmarkOf(root_ / "home" / "documents");
  std::filesystem::remove(root_ / "home" / "documents");
  const Result<ResolvedBookmark> found = resolve(data);
  ASSERT_FALSE(found);
  EXPECT_EQ(found.error().code, 4);
  EXPECT_EQ(found.error().localizedDescription(), "The file doesn’t exist.");
}

TEST_F(BookmarksTest, refuseDataThatIsNone) {
  for (const std::string text : {"", "words", "{ Bookmark = 1; }", "<dict><key>Bookmark</key><integer>1</integer></dict>",
                                 "<dict><key>Bookmark</key><integer>1</integer><key>Path</key><data>YQ==</data></dict>"}) {
    const Result<ResolvedBookmark> found = resolve({text.begin(), text.end()});
    ASSERT_FALSE(found);
    EXPECT_EQ(found.error().code, 259) << text;
  }
}

TEST_F(BookmarksTest, areNotMadeOfWhatIsMissing) {
  EXPECT_EQ(bookmarks_.create((root_ / "missing").string(), 0).error().code, 260);
}

TEST_F(BookmarksTest, carryTheScopeOnlyWhenMadeWithIt) {
  const Result<std::vector<std::uint8_t>> plain = bookmarks_.create((root_ / "home").string(), 0);
  ASSERT_TRUE(plain);
  EXPECT_TRUE(bookmarks_.resolve(*plain, Bookmarks::withoutUserInterface));
  const Result<ResolvedBookmark> scoped = resolve(*plain);
  ASSERT_FALSE(scoped);
  EXPECT_EQ(scoped.error().code, 259);
}

}  // namespace
}  // namespace platform
