#include "kelv/profile/profile_keys.h"

#include <gtest/gtest.h>

#include <set>
#include <string>

namespace kelv {
namespace {

TEST(ProfileKeys, AreThirtyEightAndDistinct) {
  std::set<std::string> names;
  for (const ProfileKey& key : profileKeys()) names.insert(key.name);
  EXPECT_EQ(names.size(), profileKeys().size());
  EXPECT_EQ(names.size(), 38U);
}

TEST(ProfileKeys, OnlyQualityAndResolutionAreRequired) {
  std::vector<std::string> required;
  for (const ProfileKey& key : profileKeys()) {
    if (key.required) required.push_back(key.name);
  }
  EXPECT_EQ(required, (std::vector<std::string>{"imageQuality", "imageResolution"}));
}

TEST(ProfileKeys, TheTablesNameKeys) {
  std::uint32_t mask = 0;
  std::uint32_t byDefault = 0;
  for (const StripKey& strip : stripKeys()) {
    ASSERT_NE(findProfileKey(strip.name), nullptr) << strip.name;
    EXPECT_EQ(mask & strip.bit, 0U);
    mask |= strip.bit;
    if (findProfileKey(strip.name)->defaultNumber != 0) byDefault |= strip.bit;
  }
  EXPECT_EQ(mask, 0x7FFU);
  EXPECT_EQ(byDefault, 0x44U);
  for (const InformationKeys& keys : informationKeys()) {
    EXPECT_NE(findProfileKey(keys.removeKey), nullptr) << keys.entry;
    EXPECT_NE(findProfileKey(keys.customKey), nullptr) << keys.entry;
  }
  EXPECT_EQ(findProfileKey("imagequality"), nullptr);
}

}  // namespace
}  // namespace kelv
