#include "optimizer/image/mrc_paper.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>

#include "optimizer/codec/jpx_coding.h"
#include "optimizer/image/score.h"

namespace optimizer {
namespace {

constexpr std::uint32_t width = 600, height = 800;

// Paper with stains, some of them small, and grain.
Pixels stained() {
  Pixels paper(width, height, 1, ColorKind::grey);
  std::fill(paper.samples().begin(), paper.samples().end(), std::uint8_t{225});
  std::mt19937 random(3);
  for (int stain = 0; stain < 60; ++stain) {
    const std::uint32_t side = 4 + random() % 40, left = random() % (width - side),
                        top = random() % (height - side);
    for (std::uint32_t y = top; y < top + side; ++y)
      for (std::uint32_t x = left; x < left + side; ++x) paper.row(y)[x] = 150;
  }
  for (std::uint8_t& sample : paper.samples()) sample = static_cast<std::uint8_t>(sample + random() % 5);
  return paper;
}

class MrcPaper : public testing::Test {
 protected:
  Pixels paper_ = stained();
  LookReference view_{paper_, width / 2, height / 2};
  int looks_ = 0;

  LossJudge judge() {
    return [this](const Pixels& shown) {
      ++looks_;
      return lossOf(view_.compare(shown), {0.97, 0.95, 0.8, 4, 0, 0});
    };
  }
};

TEST_F(MrcPaper, PaperTakesHardlyMoreThanItMust) {
  const CodedPaper coded = codePaper(paper_, webSettings(), 1 << 20, judge());
  ASSERT_TRUE(coded.layer.has_value());
  EXPECT_FALSE(coded.outOfReach);
  EXPECT_TRUE(judge()(coded.layer->shown).passes());
  EXPECT_EQ(coded.layer->image.filter, "JPXDecode");
  Result<JpxCoding> coding = JpxCoding::begin(paper_, 1 << 16);
  ASSERT_TRUE(coding.ok());
  const auto fewer = static_cast<std::size_t>(0.7 * static_cast<double>(coded.layer->image.cost()));
  EXPECT_FALSE(judge()(coding->shown(coding->cutTo(fewer))).passes());
}

TEST_F(MrcPaper, PaperFarOutOfReachIsRefusedAtFirstSight) {
  const CodedPaper coded = codePaper(paper_, webSettings(), 1 << 20, judge());
  ASSERT_TRUE(coded.layer.has_value());
  looks_ = 0;
  const CodedPaper refused = codePaper(paper_, webSettings(), coded.layer->image.cost() / 4, judge());
  EXPECT_FALSE(refused.layer.has_value());
  EXPECT_TRUE(refused.outOfReach);
  EXPECT_EQ(looks_, 1);
}

TEST_F(MrcPaper, PaperThatIsNearlyInReachMayBeTriedFiner) {
  const CodedPaper coded = codePaper(paper_, webSettings(), 1 << 20, judge());
  ASSERT_TRUE(coded.layer.has_value());
  const CodedPaper refused = codePaper(paper_, webSettings(), coded.layer->image.cost() * 2 / 3, judge());
  EXPECT_FALSE(refused.layer.has_value());
  EXPECT_FALSE(refused.outOfReach);
}

}  // namespace
}  // namespace optimizer
