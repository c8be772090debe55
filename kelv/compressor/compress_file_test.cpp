#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "kelv/compressor/pdf_compressor.h"
#include "kelv/testing/fake_services.h"
#include "kelv/testing/recording_engine.h"

namespace kelv {
namespace {

using platform::PropertyList;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

class CompressFile : public ::testing::Test {
 protected:
  void SetUp() override {
    testing::resetRecordingEngine();
    compressor_ = PDFCompressor::make(fake_.services);
    testing::recordingEngine().calls.clear();
  }

  void submit(CompressionProfile profile, bool asynchronous = false) {
    Submission file;
    file.inputPath = "/in.pdf";
    file.outputPath = "/tmp/out.pdf";
    file.profile = std::make_shared<const CompressionProfile>(std::move(profile));
    file.creationDate = platform::TimePoint(std::chrono::seconds(10));
    file.modificationDate = platform::TimePoint(std::chrono::seconds(20));
    file.asynchronous = asynchronous;
    file.completion = [this](const std::optional<platform::PlatformError>& error) {
      outcomes_.push_back(
          error ? std::to_string(error->code) + " " + error->domain + error->localizedDescription() : "ok");
    };
    compressor_->submitFile(std::move(file));
  }

  static CompressionProfile minimal(CompressionProfile more = {}) {
    more.insert({{"imageQuality", PropertyList(0.5)}, {"imageResolution", PropertyList(std::int64_t{150})}});
    return more;
  }
  static std::vector<std::string> calls(const std::string& prefix = "") {
    return testing::recordingEngine().callsOf(prefix);
  }

  testing::FakeServices fake_;
  std::shared_ptr<PDFCompressor> compressor_;
  std::vector<std::string> outcomes_;
};

TEST_F(CompressFile, WithoutAProfileOnlyTheWebProfileIsSet) {
  submit({});
  EXPECT_THAT(calls(),
              ElementsAre("OpenA(/in.pdf, )", "SetProfile(3)", "SaveAsA(/tmp/out.pdf, , , 4294967295)"));
  EXPECT_THAT(testing::recordingEngine().handles, ElementsAre("1 create", "1 close", "1 destroy"));
  EXPECT_THAT(fake_.process.printed,
              ElementsAre("No Profile has been provided, using default profile. Please wait."));
  EXPECT_THAT(fake_.files.events, IsEmpty());
  EXPECT_THAT(outcomes_, ElementsAre("ok"));
}

TEST_F(CompressFile, AMinimalProfileIsAppliedInOrder) {
  submit(minimal());
  EXPECT_THAT(
      calls(),
      ElementsAre(
          "OpenA(/in.pdf, )", "SetProfile(1)", "SetColorConversion(0)", "SetBitonalResolutionDPI(150.0)",
          "SetBitonalThresholdDPI(150.0)", "SetMonochromeResolutionDPI(150.0)",
          "SetMonochromeThresholdDPI(150.0)", "SetColorResolutionDPI(150.0)", "SetColorThresholdDPI(150.0)",
          "SetResolutionDPI(150.0)", "SetThresholdDPI(150.0)", "SetImageQuality(50)", "SetClipImages(1)",
          "SetReduceColorComplexity(1)", "SetForceRecompression(0)", "SetConvertToCFF(1)",
          "SetMergeEmbeddedFonts(1)", "SetRemoveStandardFonts(0)", "SetSubsetFonts(1)",
          "SetOptimizeResources(1)", "SetRemoveRedundantObjects(1)", "SetBitonalCompressions(1088)",
          "SetContinuousCompressions(1282)", "SetIndexedCompressions(4)", "SetForceCompressionTypes(0)",
          "SetDitheringMode(0)", "SetMrcLayerCompression(8)", "SetMrcLayerResolutionDPI(70.0)",
          "SetMrcMaskCompression(6)", "SetMrcLayerQuality(10)", "SetMrcRecognizePictures(1)",
          "SetMrcPictCompression(1)", "SetAutoLinearize(1)", "SetInfoEntryA(Producer, Kelvara 4)",
          "SetStrip(68)", "SaveAsA(/tmp/out.pdf, , , 4294967295)"));
  EXPECT_THAT(fake_.process.printed, IsEmpty());
}

TEST_F(CompressFile, TheInformationIsOverwrittenInOrder) {
  CompressionProfile profile;
  for (const char* name : {"Author", "Subject", "Title", "Keywords", "Creator", "Producer"}) {
    profile[std::string("remove") + name] = PropertyList(true);
  }
  profile["customTitle"] = PropertyList(std::string("T"));
  profile["customProducer"] = PropertyList(std::string());
  submit(minimal(profile));
  EXPECT_THAT(calls("SetInfo"), ElementsAre("SetInfoEntryA(Author, )", "SetInfoEntryA(Subject, )",
                                            "SetInfoEntryA(Title, T)", "SetInfoEntryA(Keywords, )",
                                            "SetInfoEntryA(Creator, )", "SetInfoEntryA(Producer, -)"));
}

TEST_F(CompressFile, StripBitsAndImageRemovalFollowTheirKeys) {
  submit(minimal({{"stripPieceInfo", PropertyList(false)},
                  {"stripAlternateImages", PropertyList(std::string("no"))},
                  {"stripThreads", PropertyList(std::int64_t{1})},
                  {"removeAllImages", PropertyList(true)}}));
  EXPECT_THAT(calls("SetStrip"), ElementsAre("SetStrip(65)"));
  EXPECT_THAT(calls("SetRemoveImages"), ElementsAre("SetRemoveImages(1)"));
}

struct DateCase {
  bool both, modification;
  std::vector<std::string> calls, files;
};

TEST_F(CompressFile, DatesFollowTheTwoFlags) {
  const DateCase cases[] = {
      {true, true, {"SetInfoEntryA(CreationDate, D:20261116030405+00'00')"}, {"dates /tmp/out.pdf 99 99"}},
      {true, false, {"SetInfoEntryA(CreationDate, D:20261116030405+00'00')"}, {"dates /tmp/out.pdf 99 99"}},
      {false, true, {}, {"dates /tmp/out.pdf 10 99"}},
      {false,
       false,
       {"GetInfoEntryA(ModDate)", "SetInfoEntryA(ModDate, D:2001)"},
       {"dates /tmp/out.pdf 10 20"}},
  };
  for (const DateCase& one : cases) {
    testing::resetRecordingEngine();
    testing::recordingEngine().information["ModDate"] = "D:2001";
    fake_.formatting.time = platform::TimePoint(std::chrono::seconds(99));
    fake_.files.events.clear();
    submit(minimal({{"updateModificationAndCreationDate", PropertyList(one.both)},
                    {"updateModificationDate", PropertyList(one.modification)}}));
    std::vector<std::string> dates = calls("GetInfo");
    for (const std::string& call : calls("SetInfoEntryA(")) {
      if (call.find("Producer") == std::string::npos) dates.push_back(call);
    }
    EXPECT_EQ(dates, one.calls);
    EXPECT_EQ(fake_.files.events, one.files);
  }
}

TEST_F(CompressFile, ADocumentWithoutModDateKeepsNone) {
  submit(minimal({{"updateModificationAndCreationDate", PropertyList(false)},
                  {"updateModificationDate", PropertyList(false)}}));
  EXPECT_THAT(calls("SetInfoEntryA(ModDate"), ElementsAre("SetInfoEntryA(ModDate, )"));
}

TEST_F(CompressFile, OneDateFlagAloneDoesNothing) {
  submit(minimal({{"updateModificationDate", PropertyList(false)}}));
  EXPECT_THAT(calls("GetInfo"), IsEmpty());
  EXPECT_THAT(fake_.files.events, IsEmpty());
}

TEST_F(CompressFile, DatesThatCannotBeSetAreReportedAndTheFileCounts) {
  fake_.files.failing["dates"] = testing::testError("refused", 513);
  submit(minimal({{"updateModificationAndCreationDate", PropertyList(true)},
                  {"updateModificationDate", PropertyList(true)}}));
  const std::string description = fake_.files.failing["dates"].description();
  EXPECT_THAT(fake_.process.logged, ElementsAre("ERROR: #65eO9ztfu - " + description));
  EXPECT_THAT(fake_.process.printed, ElementsAre("ERROR: #5eO9Zfuer - errorMessage: " + description));
  EXPECT_THAT(outcomes_, ElementsAre("ok"));
}

TEST_F(CompressFile, AnExplainedOpenFailureLeavesTheHandleOpen) {
  testing::recordingEngine().openResult = 0;
  testing::recordingEngine().message = "bad";
  submit({});
  EXPECT_THAT(calls(), ElementsAre("OpenA(/in.pdf, )"));
  EXPECT_THAT(testing::recordingEngine().handles, ElementsAre("1 create"));
  EXPECT_THAT(fake_.process.logged,
              ElementsAre("ERROR: # sdfgWWe :( - error: bad - uncompressedFilePath: /in.pdf"));
  EXPECT_THAT(fake_.process.printed,
              ElementsAre("ERROR: # sdfgWWe :) - error: bad -  uncompressedFilePath: /in.pdf"));
  EXPECT_THAT(outcomes_, ElementsAre("401 bad"));
}

TEST_F(CompressFile, AnExplainedSaveFailureLeavesTheHandleOpen) {
  testing::recordingEngine().saveResult = 0;
  testing::recordingEngine().message = "full";
  submit(minimal());
  EXPECT_THAT(testing::recordingEngine().handles, ElementsAre("1 create"));
  EXPECT_THAT(fake_.process.logged, ElementsAre("ERROR: # 4ifmeee - errorMessage: full"));
  EXPECT_THAT(fake_.process.printed, ElementsAre("ERROR: # 4ifmeee - errorMessage: full"));
  EXPECT_THAT(outcomes_, ElementsAre("401 full"));
}

TEST_F(CompressFile, FailuresWithoutAMessageAreNone) {
  testing::recordingEngine().openResult = 0;
  testing::recordingEngine().saveResult = 0;
  submit({});
  EXPECT_THAT(testing::recordingEngine().handles, ElementsAre("1 create", "1 close", "1 destroy"));
  EXPECT_THAT(outcomes_, ElementsAre("ok"));
}

TEST_F(CompressFile, TheSecondPasswordWinsUnlessEmpty) {
  for (const auto& [first, second, used] : {std::tuple{"a", "b", "b"}, {"a", "", "a"}, {"", "", ""}}) {
    testing::recordingEngine().calls.clear();
    Submission file;
    file.inputPath = "/in.pdf";
    file.firstPassword = first;
    file.secondPassword = second;
    file.profile = std::make_shared<const CompressionProfile>();
    file.completion = [](const auto&) {};
    compressor_->submitFile(std::move(file));
    EXPECT_THAT(calls("OpenA"), ElementsAre("OpenA(/in.pdf, " + std::string(used) + ")"));
  }
}

TEST_F(CompressFile, AsynchronousWorkRunsOnTheQueueAndDeliversHalfASecondLater) {
  submit({}, true);
  EXPECT_THAT(calls(), IsEmpty());
  EXPECT_THAT(testing::recordingEngine().handles, ElementsAre("1 create"));
  ASSERT_EQ(fake_.queues.operations.size(), 1U);
  fake_.queues.operations[0]();
  EXPECT_THAT(testing::recordingEngine().handles, ElementsAre("1 create", "1 close", "1 destroy"));
  EXPECT_THAT(outcomes_, IsEmpty());
  ASSERT_EQ(fake_.queues.delayed.size(), 1U);
  EXPECT_EQ(fake_.queues.delayed[0].delay, std::chrono::milliseconds(500));
  fake_.queues.delayed[0].block();
  EXPECT_THAT(outcomes_, ElementsAre("ok"));
}

TEST_F(CompressFile, AnAsynchronousFailureIsDeliveredOnTheMainQueueToo) {
  testing::recordingEngine().openResult = 0;
  testing::recordingEngine().message = "bad";
  submit({}, true);
  fake_.queues.operations.at(0)();
  EXPECT_THAT(outcomes_, IsEmpty());
  fake_.queues.delayed.at(0).block();
  EXPECT_THAT(outcomes_, ElementsAre("401 bad"));
}

TEST_F(CompressFile, TheQueueTakesHalfTheProcessors) {
  for (const auto& [processors, limit] : {std::pair{8, 4L}, {3, 1L}, {1, 0L}}) {
    fake_.process.processors = processors;
    EXPECT_EQ(PDFCompressor::make(fake_.services)->compressionQueue().maxConcurrentOperationCount(), limit);
  }
}

TEST_F(CompressFile, TheEngineLivesAsLongAsTheCompressor) {
  testing::recordingEngine().calls.clear();
  auto other = PDFCompressor::make(fake_.services);
  EXPECT_TRUE(other->verbose());
  EXPECT_THAT(calls(), ElementsAre("Initialize()"));
  other.reset();
  EXPECT_THAT(calls(), ElementsAre("Initialize()", "UnInitialize()"));
}

using CompressFileDeathTest = CompressFile;

TEST_F(CompressFileDeathTest, AProfileWithoutItsNumbersStops) {
  EXPECT_DEATH(submit({{"imageQuality", PropertyList(0.5)}}), "imageResolution");
  EXPECT_DEATH(submit({{"imageResolution", PropertyList(0.5)}}), "imageQuality");
  EXPECT_DEATH(
      submit({{"imageQuality", PropertyList(std::string("1"))}, {"imageResolution", PropertyList(1.0)}}),
      "imageQuality");
}

TEST_F(CompressFileDeathTest, AQualityOutOfRangeStops) {
  for (const double quality : {21474836.48, -21474840.0, 1e30}) {
    EXPECT_DEATH(submit({{"imageQuality", PropertyList(quality)}, {"imageResolution", PropertyList(1.0)}}),
                 "out of range");
  }
}

}  // namespace
}  // namespace kelv
