#include "kelv/batch/output_name.h"

#include <gtest/gtest.h>

#include "kelv/testing/fake_services.h"

namespace kelv {
namespace {

std::string named(const std::string& path, const std::vector<std::string>& taken = {}) {
  testing::FakeFiles files;
  for (const std::string& other : taken) files.files[other];
  return freeNumberedPath(files, path);
}

TEST(OutputName, TheFirstFreeNumberFromTwoUp) {
  EXPECT_EQ(named("/d/Report.pdf"), "/d/Report 2.pdf");
  EXPECT_EQ(named("/d/Report.pdf", {"/d/Report 2.pdf"}), "/d/Report 3.pdf");
  EXPECT_EQ(named("/d/Report.pdf", {"/d/Report 3.pdf"}), "/d/Report 2.pdf");
  EXPECT_EQ(named("/d/Scan.PDF"), "/d/Scan 2.pdf");
  EXPECT_EQ(named("/d/plain"), "/d/plain 2.pdf");
}

TEST(OutputName, ALongStemIsShortenedBetweenCharacters) {
  const std::string folder = "/d/";
  EXPECT_EQ(named(folder + std::string(249, 'n') + ".pdf"), folder + std::string(249, 'n') + " 2.pdf");
  EXPECT_EQ(named(folder + std::string(251, 'n') + ".pdf"), folder + std::string(249, 'n') + " 2.pdf");
  // The last character that fits in part is left out whole.
  const std::string umlauts = std::string(248, 'n') + "\xC3\xBC";
  EXPECT_EQ(named(folder + umlauts + ".pdf"), folder + std::string(248, 'n') + " 2.pdf");
}

}  // namespace
}  // namespace kelv
