#include "kelv/main/entry.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "kelv/main/usage.h"
#include "kelv/shared/shared_preferences.h"
#include "kelv/testing/fake_services.h"
#include "kelv/testing/recording_engine.h"

namespace kelv {
namespace {

using platform::PropertyList;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::StartsWith;

constexpr const char* noAccess =
    "ERROR: #3fDD - Please grant access in the preferences of the main application.";

PropertyList data(const std::string& text) {
  return PropertyList(platform::PropertyListData{{text.begin(), text.end()}});
}

class Entry : public ::testing::Test {
 protected:
  Entry() {
    testing::resetRecordingEngine();
    testing::recordingEngine().onSave = [this](const std::string& path) {
      fake_.files.files[path].size = 500;
    };
    fake_.preferences.own[localBookmarkKey] = data("/granted");
    fake_.files.files["/base/a.pdf"].size = 1000;
  }

  void run(std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), "/bin/kelv");
    const EngineAccess engine = {[this] { ++loads_; },
                                 [this] {
                                   if (!compressor_) compressor_ = PDFCompressor::make(fake_.services);
                                   return compressor_;
                                 }};
    EXPECT_EQ(enter(fake_.services, arguments, engine), 0);
  }
  std::vector<std::string> opened() const { return testing::recordingEngine().callsOf("OpenA"); }
  const std::vector<std::string>& printed() const { return fake_.process.printed; }

  testing::FakeServices fake_;
  std::shared_ptr<PDFCompressor> compressor_;
  int loads_ = 0;
};

TEST_F(Entry, HelpReadsAndTouchesNothing) {
  for (const char* help : {"--help", "-help"}) {
    fake_.process.printed.clear();
    run({"a.pdf", help});
    EXPECT_THAT(printed(), ElementsAre(usageText));
  }
  EXPECT_EQ(loads_, 0);
  EXPECT_THAT(fake_.bookmarks.events, IsEmpty());
}

TEST_F(Entry, AStoredBookmarkIsUsedAndGivenBack) {
  run({"a.pdf"});
  EXPECT_EQ(loads_, 1);
  EXPECT_THAT(fake_.bookmarks.events,
              ElementsAre("resolve /granted 1280", "start /granted", "stop /granted"));
  EXPECT_THAT(opened(), ElementsAre("OpenA(/base/a.pdf, )"));
}

TEST_F(Entry, AHandOverIsUsedUpAndStored) {
  fake_.preferences.shared[sharedUrlKey] = data("/handed");
  fake_.preferences.shared[accessRemovedKey] = PropertyList(true);
  run({"a.pdf"});
  EXPECT_THAT(fake_.bookmarks.events,
              ElementsAre("resolve /handed 256", "create /handed 2048", "limit /handed"));
  EXPECT_FALSE(fake_.preferences.shared.contains(sharedUrlKey));
  EXPECT_EQ(fake_.preferences.own[localBookmarkKey].data()->bytes, data("/handed").data()->bytes);
  EXPECT_EQ(opened().size(), 1U);
}

TEST_F(Entry, AHandOverOfAnotherTypeIsLeftAlone) {
  fake_.preferences.shared[sharedUrlKey] = PropertyList(std::string("text"));
  run({"a.pdf"});
  EXPECT_TRUE(fake_.preferences.shared.contains(sharedUrlKey));
  EXPECT_THAT(fake_.bookmarks.events,
              ElementsAre("resolve /granted 1280", "start /granted", "stop /granted"));
}

TEST_F(Entry, PreferencesThatCannotBeWrittenCostOnlyTheNextRun) {
  fake_.preferences.shared[sharedUrlKey] = data("/handed");
  fake_.preferences.writesFail = true;
  run({"--none"});
  EXPECT_THAT(fake_.process.logged,
              ElementsAre(StartsWith("The access could not be stored for later runs: "),
                          StartsWith("The hand-over could not be cleared: ")));
  fake_.preferences.writesFail = false;
  fake_.preferences.ownOpens = false;
  fake_.process.logged.clear();
  run({"--none"});
  EXPECT_THAT(fake_.process.logged,
              ElementsAre(StartsWith("The access could not be stored for later runs: ")));
  EXPECT_EQ(loads_, 2);
}

TEST_F(Entry, EveryWayToHaveNoAccessIsSaid) {
  fake_.bookmarks.accessRefused = true;
  run({"a.pdf"});
  EXPECT_THAT(fake_.bookmarks.events,
              ElementsAre("resolve /granted 1280", "start /granted", "stop /granted"));
  fake_.bookmarks.resolveFails = true;
  run({"a.pdf"});
  fake_.preferences.shared[accessRemovedKey] = PropertyList(true);
  run({"a.pdf"});
  fake_.preferences.shared.clear();
  fake_.preferences.own.clear();
  run({});
  fake_.preferences.ownOpens = false;
  run({});
  const std::string gone = testing::testError("gone", 4).description();
  EXPECT_THAT(
      printed(),
      ElementsAre("ERROR: #hfs44 - Please grant access in the preferences of the main application.",
                  "ERROR: #4w5zF - Please grant access in the preferences of the main application. - " + gone,
                  noAccess, noAccess, noAccess));
  EXPECT_THAT(opened(), IsEmpty());
  EXPECT_EQ(compressor_, nullptr);
}

TEST_F(Entry, AHandOverWithoutABookmarkIsReported) {
  fake_.preferences.shared[sharedUrlKey] = data("/handed");
  fake_.bookmarks.createFails = true;
  run({"a.pdf"});
  EXPECT_THAT(printed(), ElementsAre("ERROR: #34horu - " + testing::testError("no bookmark").description()));
}

struct InputCase {
  std::vector<std::string> arguments;
  std::vector<std::string> enumerated;
};

TEST_F(Entry, FoldersAreTheLeadingRunOfArgumentsThatAreNoFiles) {
  const InputCase cases[] = {
      {{"folder", "--profile", "-verbose"}, {"/base/folder", "/base/--profile", "/base/-verbose"}},
      {{"folder", "a.pdf"}, {"/base/folder"}},
      {{""}, {"/base"}},
      {{"/x/", "--verbose", "other"}, {"/x"}},
      {{"f", "my--output"}, {"/base/f"}},
  };
  for (const InputCase& one : cases) {
    fake_.files.events.clear();
    run(one.arguments);
    std::vector<std::string> expected;
    for (const std::string& folder : one.enumerated) expected.push_back("enumerate " + folder);
    EXPECT_EQ(fake_.files.events, expected);
    EXPECT_EQ(printed().back(), "ERROR: #q35gFE22 No PDF files have been found in that folder.");
  }
}

TEST_F(Entry, FilesAreTheLeadingRunOfArgumentsThatContainPdf) {
  fake_.files.files["/base/b.pdf.txt"].size = 1000;
  run({"a.pdf", "b.pdf.txt", "folder", "c.pdf"});
  EXPECT_THAT(opened(), ElementsAre("OpenA(/base/a.pdf, )", "OpenA(/base/b.pdf.txt, )"));
}

TEST_F(Entry, WithoutInputTheUsageFollows) {
  for (const char* first : {"--verbose", "--output", "x.kelvcp", "--subfolders", "--replace"}) {
    fake_.process.printed.clear();
    run({first, "a.pdf"});
    EXPECT_THAT(printed(), ElementsAre("ERROR: No input paths have been provided.", usageText)) << first;
  }
}

TEST_F(Entry, FoldersAreSearchedForTheExtensionInAnyCase) {
  fake_.files.folderItems = {"/f/One.PDF", "/f/two.txt", "/f/three.pdf", "/f/pdf", "/f/x.pdfx"};
  for (const char* path : {"/f/One.PDF", "/f/three.pdf"}) fake_.files.files[path].size = 1000;
  fake_.files.enumerationError = testing::testError("unreadable");
  run({"f", "--verbose"});
  EXPECT_EQ(printed().front(), "You have specified a folder that contains 2 files");
  EXPECT_EQ(fake_.process.logged.front(),
            "ERROR #khz45Iq39- file:///base/f/ - " + testing::testError("unreadable").description());
  EXPECT_THAT(opened(), ElementsAre("OpenA(/f/One.PDF, )", "OpenA(/f/three.pdf, )"));
  run({"f", "--subfolders"});
  EXPECT_THAT(fake_.files.enumerationOptions, ElementsAre(7U, 6U));
}

TEST_F(Entry, OutputFilesMustBeAsManyAsInputs) {
  run({"a.pdf", "--output", "x.pdf", "y.pdf"});
  EXPECT_THAT(printed(),
              ElementsAre("ERROR: Please make sure there are as many output paths as input paths"));
  EXPECT_EQ(compressor_, nullptr);
  run({"a.pdf", "--output", "x.pdf", "p.kelvcp.pdf"});
  EXPECT_EQ(compressor_, nullptr);  // the second is the profile, which is missing
  run({"a.pdf", "--output", "x.pdf"});
  EXPECT_TRUE(fake_.files.files.contains("/base/x.pdf"));
}

TEST_F(Entry, AnOutputFolderIsMadeAsTyped) {
  run({"a.pdf", "--output", "./out"});
  EXPECT_EQ(fake_.files.events.front(), "create ./out");
  fake_.files.failing["create"] = testing::testError("no permission");
  run({"a.pdf", "--output", "/out"});
  EXPECT_THAT(printed(), ElementsAre("ERROR: Unable to create output directory " +
                                         testing::testError("no permission").description(),
                                     "Did you grant access in the preferences of the main app?"));
}

TEST_F(Entry, TheProfileIsTheFirstArgumentThatNamesOne) {
  run({"a.pdf", "q.kelvcp", "p.kelvcp"});
  EXPECT_THAT(printed(), ElementsAre(StartsWith("ERROR: Failed to read profile at q.kelvcp. ")));
  const std::string list =
      "<plist><array><dict><key>imageQuality</key><real>1</real><key>imageResolution</key>"
      "<integer>0</integer></dict></array></plist>";
  fake_.files.files["/base/p.kelvcp"].content.assign(list.begin(), list.end());
  run({"a.pdf", "--profile", "p.kelvcp"});
  EXPECT_EQ(testing::recordingEngine().callsOf("SetImageQuality"),
            std::vector<std::string>{"SetImageQuality(100)"});
}

TEST_F(Entry, ReplaceAndTotalsReachTheBatch) {
  run({"a.pdf", "--replace"});
  EXPECT_THAT(fake_.files.events[1], "trash /base/a.pdf");
  EXPECT_EQ(fake_.preferences.suite(groupIdentifier)->integer(originalTotalKey), 1000);
}

TEST_F(Entry, AnEmptyOrRelativePwdCountsFromTheProcessesDirectory) {
  fake_.process.variables["PWD"] = "";
  run({"no.pdf"});
  EXPECT_THAT(printed()[0], StartsWith("ERROR: 3fiuhI§22 - "));
  EXPECT_EQ(printed()[0].find("no file no.pdf"), std::string::npos);
}

using EntryDeathTest = Entry;

TEST_F(EntryDeathTest, ImpossibleStatesStop) {
  EXPECT_DEATH(enter(fake_.services, {}, {}), "no arguments");
  EXPECT_DEATH(run({"a.pdf", "--output"}), "no value");
  fake_.files.canEnumerate = false;
  EXPECT_DEATH(run({"folder"}), "enumerated");
  fake_.preferences.sharedOpens = false;
  EXPECT_DEATH(run({"a.pdf"}), "shared preferences");
  fake_.preferences.sharedOpens = true;
  fake_.preferences.shared[sharedUrlKey] = data("/handed");
  fake_.bookmarks.resolveFails = true;
  EXPECT_DEATH(run({"a.pdf"}), "file kelv/main, line 196");
  fake_.process.variables = {{"HOME", "/"}};
  EXPECT_DEATH(run({}), "no PWD");
  fake_.process.variables.clear();
  EXPECT_DEATH(run({}), "environment is empty");
}

}  // namespace
}  // namespace kelv
