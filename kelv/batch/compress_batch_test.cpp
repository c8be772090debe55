#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>

#include "kelv/batch/completion.h"
#include "kelv/compressor/pdf_compressor.h"
#include "kelv/testing/fake_services.h"
#include "kelv/testing/recording_engine.h"

namespace kelv {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

class CompressBatch : public ::testing::Test {
 protected:
  CompressBatch() {
    testing::resetRecordingEngine();
    testing::recordingEngine().onSave = [this](const std::string& path) {
      fake_.files.files[path].size = 500;
    };
    for (const char* path : {"/in/a.pdf", "/in/b.pdf"}) {
      fake_.files.files[path].size = 1000;
      request_.inputPaths.push_back(path);
    }
    request_.completion = reportingCompletion(fake_.process);
    compressor_ = PDFCompressor::make(fake_.services);
  }
  void run() { compressor_->compressBatch(request_); }

  testing::FakeServices fake_;
  BatchRequest request_;
  std::shared_ptr<PDFCompressor> compressor_;
};

TEST_F(CompressBatch, FilesAreCompressedOneAfterAnother) {
  request_.verbose = true;
  request_.outputFolder = "/out/";
  run();
  EXPECT_THAT(
      fake_.process.printed,
      ElementsAre(
          "---------------------------------------", "Starting compression of file 1 of 2. Please wait.",
          "No Profile has been provided, using default profile. Please wait.",
          "Succesfully compressed file by 50.0 percent of: a.pdf", "Saving compressed file to /out/a.pdf.",
          "Applying file tags.", "---------------------------------------",
          "Starting compression of file 2 of 2. Please wait.",
          "No Profile has been provided, using default profile. Please wait.",
          "Succesfully compressed file by 50.0 percent of: b.pdf", "Saving compressed file to /out/b.pdf.",
          "Applying file tags.", "Finished compressing all files. Terminating..."));
  EXPECT_THAT(
      testing::recordingEngine().callsOf("SaveAsA"),
      ElementsAre("SaveAsA(/tmp/UUID-1.pdf, , , 4294967295)", "SaveAsA(/tmp/UUID-2.pdf, , , 4294967295)"));
}

TEST_F(CompressBatch, EveryFileIsLoggedWithoutVerbose) {
  run();
  EXPECT_THAT(fake_.process.printed, IsEmpty());
  EXPECT_THAT(fake_.process.logged,
              ElementsAre("4 batchCompress", "5 batchCompress", "6 batchCompress", "7 batchCompress",
                          "4 batchCompress", "5 batchCompress", "6 batchCompress", "7 batchCompress"));
}

TEST_F(CompressBatch, OutputFilesBelongToInputsInOrder) {
  request_.outputFiles = {"/y.pdf", "/x.pdf"};
  run();
  EXPECT_TRUE(fake_.files.files.contains("/y.pdf"));
  EXPECT_TRUE(fake_.files.files.contains("/x.pdf"));
  EXPECT_FALSE(fake_.files.files.contains("/in/a 2.pdf"));
}

TEST_F(CompressBatch, ARelativeFolderCountsFromTheProcessesDirectory) {
  request_.outputFolder = "out";
  run();
  EXPECT_TRUE(fake_.files.files.contains(std::filesystem::current_path().string() + "/out/a.pdf"));
}

TEST_F(CompressBatch, AnUnreadableInputEndsTheBatch) {
  for (const char* step : {"attributes", "tags"}) {
    fake_.files.failing = {{step, testing::testError("no permission for you")}};
    fake_.process.printed.clear();
    run();
    EXPECT_THAT(
        fake_.process.printed,
        ElementsAre("ERROR: 3fiuhI§22 - " + fake_.files.failing[step].description(),
                    "ERROR: Unable to complete compression via comamnd line tool. no permission for you",
                    "Did you grant access in the preferences of the main app?"));
  }
  EXPECT_THAT(testing::recordingEngine().handles, IsEmpty());
}

TEST_F(CompressBatch, NothingToDoIsNothing) {
  request_.inputPaths.clear();
  request_.verbose = true;
  run();
  EXPECT_THAT(fake_.process.printed, IsEmpty());
  EXPECT_TRUE(compressor_->verbose());
}

TEST_F(CompressBatch, AFailedFileDoesNotStopTheOthers) {
  testing::recordingEngine().openResult = 0;
  testing::recordingEngine().message = "Permission denied";
  request_.verbose = true;
  run();
  EXPECT_EQ(testing::recordingEngine().callsOf("OpenA").size(), 2U);
  EXPECT_EQ(fake_.process.printed.back(),
            "ERROR: Unable to complete compression via comamnd line tool. Permission denied");
}

TEST_F(CompressBatch, AsynchronousFilesFinishOnTheMainQueue) {
  request_.asynchronous = true;
  run();
  EXPECT_EQ(fake_.queues.operations.size(), 2U);
  for (const auto& operation : fake_.queues.operations) operation();
  EXPECT_THAT(fake_.files.events, IsEmpty());
  for (const auto& delayed : fake_.queues.delayed) delayed.block();
  EXPECT_TRUE(fake_.files.files.contains("/in/a 2.pdf"));
  EXPECT_TRUE(fake_.files.files.contains("/in/b 2.pdf"));
}

using CompressBatchDeathTest = CompressBatch;

TEST_F(CompressBatchDeathTest, ImpossibleRequestsStop) {
  request_.outputFiles = {"/only-one.pdf"};
  EXPECT_DEATH(run(), "without an output file");
  fake_.files.files["/in/a.pdf"].size.reset();
  EXPECT_DEATH(run(), "no size");
}

}  // namespace
}  // namespace kelv
