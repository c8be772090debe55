#include "kelv/profile/profile_file.h"

#include <gtest/gtest.h>

#include "kelv/testing/fake_services.h"

namespace kelv {
namespace {

class ProfileFile : public ::testing::Test {
 protected:
  std::optional<CompressionProfile> read(const std::string& content, bool verbose = true) {
    fake_.files.files["/base/p.kelvcp"].content.assign(content.begin(), content.end());
    return readProfileFile(fake_.services, "p.kelvcp", "/base", verbose);
  }
  static std::string plist(const std::string& body) { return "<plist version=\"1.0\">" + body + "</plist>"; }

  testing::FakeServices fake_;
  const std::string entry_ = "<dict><key>a</key><true/></dict>";
};

TEST_F(ProfileFile, TheFirstDictionaryOfAnArrayIsTheProfile) {
  const auto profile = read(plist("<array>" + entry_ + "<dict/></array>"));
  ASSERT_TRUE(profile);
  EXPECT_EQ(flagValue(*profile, "a"), true);
  EXPECT_EQ(fake_.process.printed,
            std::vector<std::string>{"Using profile first profile found in p.kelvcp."});
}

TEST_F(ProfileFile, NothingIsSaidUnlessVerbose) {
  ASSERT_TRUE(read(plist("<array>" + entry_ + "</array>"), false));
  EXPECT_TRUE(fake_.process.printed.empty());
}

TEST_F(ProfileFile, AnyOtherShapeIsAnEmptyProfileWithoutAWord) {
  for (const std::string& body :
       {entry_, std::string("<array/>"), "<array>" + entry_ + "<integer>1</integer></array>",
        std::string("<string>a</string>")}) {
    const auto profile = read(plist(body));
    ASSERT_TRUE(profile) << body;
    EXPECT_TRUE(profile->empty()) << body;
  }
  EXPECT_TRUE(fake_.process.printed.empty());
}

TEST_F(ProfileFile, AFileThatCannotBeReadIsNamedAsTyped) {
  EXPECT_FALSE(readProfileFile(fake_.services, "../q.kelvcp", "/base/x", true));
  ASSERT_EQ(fake_.process.printed.size(), 1U);
  EXPECT_TRUE(fake_.process.printed[0].starts_with(
      "ERROR: Failed to read profile at ../q.kelvcp. Error Domain=Test Code=260"))
      << fake_.process.printed[0];
}

TEST_F(ProfileFile, BytesThatAreNoPropertyListFail) {
  EXPECT_FALSE(read("<plist><array>"));
  ASSERT_EQ(fake_.process.printed.size(), 1U);
  EXPECT_TRUE(
      fake_.process.printed[0].starts_with("ERROR: Failed to read profile at p.kelvcp. Error Domain="))
      << fake_.process.printed[0];
}

}  // namespace
}  // namespace kelv
