#include "kelv/shared/statistics_totals.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "kelv/main/statistics_handler.h"
#include "kelv/shared/shared_preferences.h"
#include "kelv/testing/fake_services.h"

namespace kelv {
namespace {

using platform::PropertyList;

StatisticsTotals totalsOf(testing::FakeServices& fake) {
  return readStatisticsTotals(*openSharedDefaults(fake.preferences));
}

TEST(StatisticsTotals, AbsentKeysCountAsZero) {
  testing::FakeServices fake;
  EXPECT_EQ(totalsOf(fake), (StatisticsTotals{0, 0}));
  addStatisticsTotals(fake.services, 1000, 400);
  EXPECT_EQ(totalsOf(fake), (StatisticsTotals{1000, 400}));
}

TEST(StatisticsTotals, SizesAreTruncatedTowardZero) {
  testing::FakeServices fake;
  addStatisticsTotals(fake.services, 10.99, -1.99);
  EXPECT_EQ(totalsOf(fake), (StatisticsTotals{10, -1}));
}

TEST(StatisticsTotals, WithoutASuiteNothingIsCounted) {
  testing::FakeServices fake;
  fake.preferences.sharedOpens = false;
  addStatisticsTotals(fake.services, std::nan(""), 1);
  EXPECT_TRUE(fake.preferences.shared.empty());
  EXPECT_TRUE(fake.process.printed.empty());
  EXPECT_TRUE(fake.process.logged.empty());
}

TEST(StatisticsTotals, ALostAdditionIsLogged) {
  testing::FakeServices fake;
  fake.preferences.writesFail = true;
  addStatisticsTotals(fake.services, 2, 1);
  ASSERT_EQ(fake.process.logged.size(), 1U);
  EXPECT_TRUE(fake.process.logged[0].starts_with("The statistics totals could not be saved: "))
      << fake.process.logged[0];
}

TEST(StatisticsTotals, TheHandlerCountsOnlySmallerFiles) {
  testing::FakeServices fake;
  const StatisticsHandler handler = totalsHandler(fake.services);
  const double nan = std::nan("");
  for (const auto& [original, compressed] : {std::pair{1.0, 1.0}, {1.0, 2.0}, {nan, 1.0}, {1.0, nan}}) {
    handler(0.5, original, compressed);
  }
  EXPECT_TRUE(fake.preferences.shared.empty());
  handler(0.5, 2, 1);
  EXPECT_EQ(totalsOf(fake), (StatisticsTotals{2, 1}));
}

TEST(StatisticsTotalsDeathTest, ImpossibleSizesAndSumsStop) {
  testing::FakeServices fake;
  const double infinity = std::numeric_limits<double>::infinity();
  EXPECT_DEATH(addStatisticsTotals(fake.services, std::nan(""), 1), "64-bit");
  EXPECT_DEATH(addStatisticsTotals(fake.services, infinity, 1), "64-bit");
  EXPECT_DEATH(addStatisticsTotals(fake.services, 9223372036854775808.0, 1), "64-bit");
  EXPECT_DEATH(addStatisticsTotals(fake.services, 1, -9223372036854777856.0), "64-bit");
  fake.preferences.shared[originalTotalKey] = PropertyList(std::numeric_limits<std::int64_t>::max());
  EXPECT_DEATH(addStatisticsTotals(fake.services, 1, 0), "overflows");
  addStatisticsTotals(fake.services, 0, -9223372036854775808.0);
  EXPECT_EQ(totalsOf(fake).compressedSize, std::numeric_limits<std::int64_t>::min());
}

}  // namespace
}  // namespace kelv
