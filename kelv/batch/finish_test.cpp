#include "kelv/batch/finish.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <limits>

#include "kelv/testing/fake_services.h"
#include "kelv/testing/recording_engine.h"

namespace kelv {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

class Finish : public ::testing::Test {
 protected:
  Finish() {
    testing::resetRecordingEngine();
    batch_->remainingCount = 1;
    batch_->progressStep = 0.25;
    batch_->completion = [this](const std::vector<std::string>& paths,
                                const std::optional<platform::PlatformError>& error) {
      std::string outcome = error ? "error " + error->localizedDescription() : "done";
      for (const std::string& path : paths) outcome += " " + path;
      outcomes_.push_back(outcome);
    };
    batch_->statistics = [this](double progress, double original, double compressed) {
      statistics_.push_back({progress, original, compressed});
    };
    request_ = {
        batch_,         PDFCompressor::make(fake_.services), 1000, "/tmp/x.pdf", "/in/a.pdf", "/in/a.pdf",
        {"red", "blue"}};
    fake_.files.files["/in/a.pdf"].size = 1000;
    fake_.files.files["/tmp/x.pdf"].size = 500;
  }

  void finish(const std::optional<platform::PlatformError>& error = std::nullopt) {
    finishCompressedFile(request_, fake_.services, error);
  }

  testing::FakeServices fake_;
  std::shared_ptr<BatchState> batch_ = std::make_shared<BatchState>();
  FinishRequest request_;
  std::vector<std::string> outcomes_;
  std::vector<std::vector<double>> statistics_;
};

TEST_F(Finish, ASmallerResultTakesANumberedNameBesideTheOriginal) {
  finish();
  EXPECT_THAT(fake_.files.events, ElementsAre("metadata /in/a.pdf /tmp/x.pdf", "move /tmp/x.pdf /in/a 2.pdf",
                                              "tag /in/a 2.pdf red,blue"));
  EXPECT_THAT(fake_.process.printed,
              ElementsAre("Succesfully compressed file by 50.0 percent of: a.pdf",
                          "There is already a file at the output location. Use new name: a 2.pdf.",
                          "Saving compressed file to /in/a 2.pdf.", "Applying file tags.",
                          "Finished compressing all files. Terminating..."));
  EXPECT_THAT(fake_.process.logged, ElementsAre("6 batchCompress", "7 batchCompress"));
  EXPECT_THAT(outcomes_, ElementsAre("done /in/a 2.pdf"));
  EXPECT_THAT(statistics_, ElementsAre(ElementsAre(0.25, 1000, 500)));
}

TEST_F(Finish, WithoutVerboseNothingIsPrinted) {
  request_.compressor->setVerbose(false);
  finish();
  EXPECT_THAT(fake_.process.printed, IsEmpty());
}

TEST_F(Finish, AResultThatIsNotSmallerWritesNothingAndCounts) {
  for (const auto& [original, compressed] : {std::pair{1000, 1000}, {1000, 1001}, {0, 0}, {0, 5}}) {
    SCOPED_TRACE(compressed);
    batch_->remainingCount = 1;
    fake_.process.printed.clear();
    outcomes_.clear();
    request_.originalSize = original;
    fake_.files.files["/tmp/x.pdf"].size = compressed;
    finish();
    EXPECT_THAT(fake_.files.events, IsEmpty());
    EXPECT_THAT(fake_.process.printed,
                ElementsAre("The file size did not increase for the file at this path: /in/a.pdf.",
                            "Finished compressing all files. Terminating..."));
    EXPECT_THAT(outcomes_, ElementsAre("done"));
  }
  EXPECT_EQ(statistics_.size(), 4U);
}

TEST_F(Finish, ReplacingMovesTheOldFileToTheTrashFirst) {
  request_.replace = true;
  finish();
  EXPECT_THAT(fake_.files.events, ElementsAre("metadata /in/a.pdf /tmp/x.pdf", "trash /in/a.pdf",
                                              "move /tmp/x.pdf /in/a.pdf", "tag /in/a.pdf red,blue"));
  EXPECT_EQ(fake_.process.printed[1],
            "There is already a file at the output location. Moving file at output location to trash.");
}

TEST_F(Finish, WithoutATrashTheOldFileIsRemoved) {
  request_.replace = true;
  fake_.files.failing["trash"] = testing::testError("No Trash.");
  finish();
  EXPECT_EQ(fake_.process.printed[2],
            "The file could not be moved to the trash. No Trash. Removing the file instead.");
  EXPECT_THAT(outcomes_, ElementsAre("done /in/a.pdf"));
}

TEST_F(Finish, AnOldFileThatCannotBeRemovedStays) {
  request_.replace = true;
  fake_.files.failing["remove"] = testing::testError("Busy.");
  const std::string description = fake_.files.failing["remove"].description();
  for (const bool trash : {true, false}) {
    fake_.files.failing["trash"] = testing::testError("No Trash.");
    fake_.process.logged.clear();
    outcomes_.clear();
    request_.moveToTrash = trash;
    finish();
    EXPECT_EQ(fake_.process.logged.back(), (trash ? "ERROR: #ejht74G  " : "ERROR: #34fzrH  ") + description);
    EXPECT_THAT(outcomes_, ElementsAre("error Busy."));
  }
  EXPECT_EQ(fake_.process.beeps, 2);
  EXPECT_EQ(batch_->remainingCount, 1);
  EXPECT_TRUE(fake_.files.files.contains("/in/a.pdf"));
}

TEST_F(Finish, FailuresArePrintedAndNotCounted) {
  for (const char* step : {"attributes", "move", "tag"}) {
    fake_.files.failing = {{step, testing::testError("Refused.")}};
    fake_.files.files["/tmp/x.pdf"].size = 500;
    fake_.process.printed.clear();
    outcomes_.clear();
    request_.compressor->setVerbose(false);
    finish();
    EXPECT_THAT(fake_.process.printed,
                ElementsAre("ERROR: qefinuNDS - " + fake_.files.failing[step].description()))
        << step;
    EXPECT_THAT(outcomes_, ElementsAre("error Refused.")) << step;
  }
  EXPECT_EQ(batch_->remainingCount, 1);
  EXPECT_THAT(batch_->finishedPaths, IsEmpty());
}

TEST_F(Finish, AnEngineErrorGoesOnUnchanged) {
  finish(testing::testError("Engine."));
  EXPECT_THAT(fake_.process.logged, ElementsAre("6 batchCompress"));
  EXPECT_THAT(fake_.process.printed, IsEmpty());
  EXPECT_THAT(outcomes_, ElementsAre("error Engine."));
  EXPECT_EQ(batch_->processedCount, 1);
  EXPECT_EQ(batch_->remainingCount, 1);
}

TEST_F(Finish, OnlyTheLastFileEndsTheBatch) {
  batch_->remainingCount = 2;
  batch_->statistics = nullptr;
  finish();
  EXPECT_THAT(outcomes_, IsEmpty());
  fake_.files.files["/tmp/x.pdf"].size = 250;
  finish();
  EXPECT_THAT(outcomes_, ElementsAre("done /in/a 2.pdf /in/a 3.pdf"));
}

using FinishDeathTest = Finish;

TEST_F(FinishDeathTest, ImpossibleStatesStop) {
  fake_.files.files["/tmp/x.pdf"].size.reset();
  EXPECT_DEATH(finish(), "no size");
  batch_->processedCount = std::numeric_limits<std::int64_t>::max();
  EXPECT_DEATH(finish(), "overflows");
}

}  // namespace
}  // namespace kelv
