#include "kelv/profile/compression_profile.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

namespace kelv {
namespace {

using platform::PropertyList;

struct Case {
  const char* name;
  PropertyList value;
  std::optional<float> real;
  std::optional<std::int32_t> signedInteger;
  std::optional<std::uint32_t> unsignedInteger;
  std::optional<bool> flag;
  std::optional<std::string> text;
};

const std::vector<Case>& cases() {
  static const std::vector<Case> table = {
      {"zero", PropertyList(std::int64_t{0}), 0.0F, 0, 0, false, {}},
      {"one", PropertyList(std::int64_t{1}), 1.0F, 1, 1, true, {}},
      {"two", PropertyList(std::int64_t{2}), 2.0F, 2, 2, {}, {}},
      {"minus one", PropertyList(std::int64_t{-1}), -1.0F, -1, {}, {}, {}},
      {"largest signed",
       PropertyList(std::int64_t{2147483647}),
       2147483648.0F,
       2147483647,
       2147483647,
       {},
       {}},
      {"beyond signed", PropertyList(std::int64_t{2147483648}), 2147483648.0F, {}, 2147483648U, {}, {}},
      {"least signed", PropertyList(std::int64_t{-2147483648}), -2147483648.0F, -2147483647 - 1, {}, {}, {}},
      {"below signed", PropertyList(std::int64_t{-2147483649}), -2147483648.0F, {}, {}, {}, {}},
      {"largest unsigned", PropertyList(std::int64_t{4294967295}), 4294967296.0F, {}, 4294967295U, {}, {}},
      {"beyond unsigned", PropertyList(std::int64_t{4294967296}), 4294967296.0F, {}, {}, {}, {}},
      {"largest integer",
       PropertyList(std::uint64_t{18446744073709551615U}),
       18446744073709551616.0F,
       {},
       {},
       {},
       {}},
      {"rounded once", PropertyList(std::int64_t{9007199791611905}), 9007200328482816.0F, {}, {}, {}, {}},
      {"whole real", PropertyList(1.0), 1.0F, 1, 1, true, {}},
      {"fraction", PropertyList(2.5), 2.5F, {}, {}, {}, {}},
      {"rounded real", PropertyList(0.1), 0.1F, {}, {}, {}, {}},
      {"negative zero", PropertyList(-0.0), -0.0F, {}, {}, {}, {}},
      {"huge real", PropertyList(1e300), std::numeric_limits<float>::infinity(), {}, {}, {}, {}},
      {"true", PropertyList(true), 1.0F, 1, 1, true, {}},
      {"false", PropertyList(false), 0.0F, 0, 0, false, {}},
      {"text", PropertyList(std::string("1")), {}, {}, {}, {}, "1"},
      {"data", PropertyList(platform::PropertyListData{{1}}), {}, {}, {}, {}, {}},
      {"date", PropertyList(platform::PropertyListDate{1}), {}, {}, {}, {}, {}},
      {"array", PropertyList::array({}), {}, {}, {}, {}, {}},
      {"other", PropertyList(), {}, {}, {}, {}, {}},
  };
  return table;
}

TEST(CompressionProfile, ConvertsExactly) {
  for (const Case& one : cases()) {
    const CompressionProfile profile = {{"key", one.value}};
    EXPECT_EQ(floatValue(profile, "key"), one.real) << one.name;
    EXPECT_EQ(int32Value(profile, "key"), one.signedInteger) << one.name;
    EXPECT_EQ(uint32Value(profile, "key"), one.unsignedInteger) << one.name;
    EXPECT_EQ(flagValue(profile, "key"), one.flag) << one.name;
    EXPECT_EQ(textValue(profile, "key"), one.text) << one.name;
  }
}

TEST(CompressionProfile, NotANumberIsANumberOnlyAsAFloat) {
  const CompressionProfile profile = {{"key", PropertyList(std::nan(""))}};
  EXPECT_TRUE(std::isnan(*floatValue(profile, "key")));
  EXPECT_EQ(int32Value(profile, "key"), std::nullopt);
  EXPECT_EQ(flagValue(profile, "key"), std::nullopt);
}

TEST(CompressionProfile, KeysMatchExactly) {
  const CompressionProfile profile = {{"Key", PropertyList(true)}};
  EXPECT_EQ(floatValue(profile, "key"), std::nullopt);
  EXPECT_EQ(flagValue(profile, "key"), std::nullopt);
  EXPECT_EQ(textValue(profile, "key"), std::nullopt);
}

}  // namespace
}  // namespace kelv
