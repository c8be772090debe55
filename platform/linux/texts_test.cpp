// Texts that users and other programs read: paths, numbers, dates, errors.
#include <gtest/gtest.h>

#include <cerrno>
#include <cmath>
#include <cstdlib>
#include <ctime>

#include "platform/linux/file_errors.h"
#include "platform/linux/formatting_linux.h"
#include "platform/path.h"

namespace platform {
namespace {

TEST(Paths, resolveAgainstABaseThatIsAFolder) {
  struct {
    const char *base, *argument, *expected;
  } rows[] = {
      {"/base/d/", "a.pdf", "/base/d/a.pdf"}, {"/base/d", "a.pdf", "/base/d/a.pdf"}, {"/base/d", "../a.pdf", "/base/a.pdf"},
      {"/base/d", "./x/../a.pdf", "/base/d/a.pdf"}, {"/base/d", "", "/base/d"}, {"/base/d/", "", "/base/d"}, {"/base/d", ".", "/base/d"},
      {"/base/d", "/abs/./x/../y.pdf", "/abs/./x/../y.pdf"}, {"/base/d", "//a//x", "//a//x"}, {"/base/d", "/x/", "/x"},
      {"/", "../../a", "/a"}, {"/base", "sub//a.pdf", "/base/sub//a.pdf"}, {"/base", "sub/", "/base/sub"}, {"/base", "~/x", "/base/~/x"},
      {"/base", "a b%?#;:", "/base/a b%?#;:"}, {"/base", "\xFF\n", "/base/\xFF\n"}, {"/", "", "/"}, {"/base", "..", "/"},
  };
  for (const auto& row : rows) EXPECT_EQ(resolvePath(row.base, row.argument), row.expected) << row.base << " " << row.argument;
}

TEST(Paths, areTakenApart) {
  struct {
    const char *path, *last, *rest, *extension, *stem;
  } rows[] = {
      {"/a/b.pdf", "b.pdf", "/a", "pdf", "/a/b"}, {"/a/dir/", "dir", "/a", "", "/a/dir"}, {"/", "/", "/", "", "/"},
      {"/a", "a", "/", "", "/a"}, {"/x/a.tar.gz", "a.tar.gz", "/x", "gz", "/x/a.tar"}, {"/x/.pdf", ".pdf", "/x", "", "/x/.pdf"},
      {"/x/a.", "a.", "/x", "", "/x/a."}, {"/x/a.p f", "a.p f", "/x", "", "/x/a.p f"}, {"/x.y/a", "a", "/x.y", "", "/x.y/a"},
      {"/x/Scan.PDF", "Scan.PDF", "/x", "PDF", "/x/Scan"},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(lastPathComponent(row.path), row.last);
    EXPECT_EQ(deletingLastPathComponent(row.path), row.rest);
    EXPECT_EQ(pathExtension(row.path), row.extension) << row.path;
    EXPECT_EQ(deletingPathExtension(row.path), row.stem);
  }
  EXPECT_EQ(appendingPathComponent("/a", "b"), "/a/b");
  EXPECT_EQ(appendingPathComponent("/a/", "b"), "/a/b");
  EXPECT_EQ(appendingPathComponent("/", "b"), "/b");
  EXPECT_EQ(fileUrlText("/a b/\xC3\xA9%?#;:.pdf"), "file:///a%20b/%C3%A9%25%3F%23%3B:.pdf");
  EXPECT_EQ(fileUrlText("/a", true), "file:///a/");
  EXPECT_EQ(fileUrlText("/", true), "file:///");
}

TEST(Decimals, areTheShortestThatReadBack) {
  const std::pair<double, const char*> rows[] = {
      {50, "50.0"}, {37.5, "37.5"}, {12.345678901234567, "12.345678901234567"}, {0.0001, "0.0001"}, {9.999e-05, "9.999e-05"}, {5e-05, "5e-05"},
      {9007199254740992.0, "9007199254740992.0"}, {1e16, "1e+16"}, {0, "0.0"}, {-0.0, "-0.0"}, {-3.5, "-3.5"}, {INFINITY, "inf"},
      {-INFINITY, "-inf"}, {NAN, "nan"}, {1e-300, "1e-300"}, {0.1, "0.1"}, {100, "100.0"}, {1.0 / 3, "0.3333333333333333"},
      {9007199254740994.0, "9.007199254740994e+15"}, {5.75, "5.75"}};
  for (const auto& [value, text] : rows) EXPECT_EQ(shortestDecimalText(value), text);
}

TEST(Errors, haveTheSystemsForm) {
  EXPECT_EQ((PlatformError{"", 401, {{localizedDescriptionKey, "M"}}, nullptr}.description()),
            "Error Domain= Code=401 \"M\" UserInfo={NSLocalizedDescription=M}");
  const PlatformError bare{"", 401, {}, nullptr};
  EXPECT_EQ(bare.description(), "Error Domain= Code=401 \"(null)\"");
  EXPECT_EQ(bare.localizedDescription(), "The operation couldn’t be completed. ( error 401.)");
  EXPECT_EQ((PlatformError{"D", 1, {{failureReasonKey, "R"}}, nullptr}.localizedDescription()),
            "The operation couldn’t be completed. R");
  const std::string read = readError(ENOENT, "/f/x").description();
  EXPECT_EQ(read.find("Error Domain=NSCocoaErrorDomain Code=260 \"The file “x” couldn’t be opened because there is no such file.\" "
                      "UserInfo={NSFilePath=/f/x, NSUnderlyingError=0x"),
            0u);
  EXPECT_NE(read.find(" {Error Domain=NSPOSIXErrorDomain Code=2 \"No such file or directory\"}}"), std::string::npos);
  const std::string move = moveError(EEXIST, "/t/a", "/f/x").description();
  EXPECT_NE(move.find("UserInfo={NSSourceFilePathErrorKey=/t/a, NSUserStringVariant=(Move), NSDestinationFilePath=/f/x, NSFilePath=/t/a, "),
            std::string::npos);
}

TEST(Errors, showThreeLevelsAtMost) {
  auto error = std::make_shared<PlatformError>(PlatformError{"4", 4, {}, nullptr});
  for (const char* domain : {"3", "2", "1"}) error = std::make_shared<PlatformError>(PlatformError{domain, 0, {}, error});
  const std::string text = error->description();
  EXPECT_NE(text.find("Domain=3"), std::string::npos);
  EXPECT_EQ(text.find("Domain=4"), std::string::npos);
}

TEST(Errors, sayWhatHappened) {
  struct {
    PlatformError error;
    long code;
    const char* text;
  } rows[] = {
      {readError(ENOENT, "/f/x"), 260, "The file “x” couldn’t be opened because there is no such file."},
      {readError(EACCES, "/f/x"), 257, "The file “x” couldn’t be opened because you don’t have permission to view it."},
      {readError(EPERM, "/f/x"), 257, "The file “x” couldn’t be opened because you don’t have permission to view it."},
      {readError(EISDIR, "/f/x"), 256, "The file “x” couldn’t be opened."},
      {readError(ENOENT, ""), 258, "The file couldn’t be opened because the specified name is invalid."},
      {writeError(ENOENT, "/f/x"), 4, "The file “x” doesn’t exist."},
      {writeError(EACCES, "/f/x"), 513, "You don’t have permission to save the file “x” in the folder “f”."},
      {writeError(EEXIST, "/f/x"), 516,
       "The file “x” couldn’t be saved in the folder “f” because a file with the same name already exists."},
      {writeError(ENOTDIR, "/f/x"), 512, "The file “x” couldn’t be saved in the folder “f”."},
      {writeError(ENOSPC, "/x"), 640, "You can’t save the file “x” because the volume “/” is out of space."},
      {writeError(EROFS, "/x"), 642, "You can’t save the file “x” because the volume “/” is read only."},
      {moveError(EACCES, "/t/x", "/f/y"), 513, "“x” couldn’t be moved because you don’t have permission to access “f”."},
      {moveError(EEXIST, "/t/x", "/f/y"), 516,
       "“x” couldn’t be moved to “f” because an item with the same name already exists."},
      {moveError(ENOENT, "/t/x", "/f/y"), 4,
       "“x” couldn’t be moved to “f” because either the former doesn’t exist, or the folder containing the latter doesn’t exist."},
      {removeError(ENOENT, "/f/x"), 4, "“x” couldn’t be removed."},
      {removeError(ENOTEMPTY, "/f/x"), 513, "“x” couldn’t be removed because you don’t have permission to access it."},
      {noTrashError("/x"), 3328, "“x” couldn’t be moved to the trash because the volume “/” doesn’t have one."},
      {trashError(ENOENT, "/f/x", ""), 4, "The file “x” doesn’t exist."},
      {trashError(EACCES, "/f/x", ""), 513, "“x” couldn’t be moved to the trash because you don’t have permission to access it."},
      {trashError(0, "/f/x", "why"), 512, "“x” couldn’t be moved to the trash."},
      {propertyListError("d"), 3840, "The data couldn’t be read because it isn’t in the correct format."},
      {bookmarkCorruptError(), 259, "The file couldn’t be opened because it isn’t in the correct format."},
      {bookmarkGoneError("/f/x"), 4, "The file doesn’t exist."},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(row.error.domain, "NSCocoaErrorDomain");
    EXPECT_EQ(row.error.code, row.code) << row.text;
    EXPECT_EQ(row.error.localizedDescription(), row.text);
  }
}

class FormattingTest : public testing::Test {
 protected:
  void TearDown() override { use("C", "UTC"); }
  static void use(const char* locale, const char* zone) {
    setenv("LC_ALL", locale, 1);
    setenv("TZ", zone, 1);
    tzset();
  }
  static TimePoint utc(int year, int month, int day, int hour = 12, int minute = 0, int second = 0) {
    tm time = {};
    time.tm_year = year - 1900;
    time.tm_mon = month - 1;
    time.tm_mday = day;
    time.tm_hour = hour;
    time.tm_min = minute;
    time.tm_sec = second;
    return TimePoint(std::chrono::seconds(timegm(&time)));
  }
  LinuxFormatting formatting_;
};

TEST_F(FormattingTest, countsWeekYearsByTheLocale) {
  struct {
    const char* locale;
    TimePoint time;
    const char* year;
  } rows[] = {
      {"C", utc(2024, 12, 29), "2025"}, {"en_US.UTF-8", utc(2025, 12, 28), "2026"}, {"C.UTF-8", utc(2026, 12, 27), "2027"},
      {"POSIX", utc(2027, 1, 1), "2027"}, {"de_DE.UTF-8", utc(2024, 12, 29), "2024"}, {"de_DE@euro", utc(2024, 12, 30), "2025"},
      {"de_DE", utc(2025, 12, 28), "2025"}, {"de_DE", utc(2025, 12, 29), "2026"}, {"de_DE", utc(2027, 1, 3), "2026"},
      {"de_DE", utc(2022, 1, 2), "2021"}, {"", utc(2024, 12, 29), "2025"}};
  for (const auto& row : rows) {
    use(row.locale, "UTC");
    EXPECT_EQ(formatting_.date(row.time, "YYYY"), row.year) << row.locale;
  }
}

TEST_F(FormattingTest, usesTheGregorianCalendarAndAsciiDigits) {
  for (const char* locale : {"fa_IR", "ar_EG", "th_TH", "ja_JP", "en_US"}) {
    use(locale, "UTC");
    EXPECT_EQ(formatting_.date(utc(2026, 6, 16, 15, 4, 5), "yyyyMMddhhmmss"), "20260616030405") << locale;
    EXPECT_EQ(formatting_.number(5.5, "00"), "06") << locale;
  }
}

TEST_F(FormattingTest, followsTheZone) {
  struct {
    const char* zone;
    const char* date;
    int offset;
  } rows[] = {{"UTC", "20260616120000", 0},          {"Europe/Berlin", "20260616020000", 7200},  {"America/New_York", "20260616080000", -14400},
              {"Asia/Kolkata", "20260616053000", 19800}, {"Asia/Kathmandu", "20260616054500", 20700}, {"America/St_Johns", "20260616093000", -9000},
              {"EST5", "20260616070000", -18000},    {"<+0530>-5:30", "20260616053000", 19800}};
  for (const auto& row : rows) {
    use("C", row.zone);
    EXPECT_EQ(formatting_.date(utc(2026, 6, 16), "YYYYMMddhhmmss"), row.date) << row.zone;
    EXPECT_EQ(formatting_.secondsFromGmt(utc(2026, 6, 16)), row.offset) << row.zone;
  }
}

TEST_F(FormattingTest, countsTwelveHours) {
  use("C", "UTC");
  EXPECT_EQ(formatting_.date(utc(2026, 6, 16, 0), "hh"), "12");
  EXPECT_EQ(formatting_.date(utc(2026, 6, 16, 12), "hh"), "12");
  EXPECT_EQ(formatting_.date(utc(2026, 6, 16, 15), "hh"), "03");
}

TEST_F(FormattingTest, roundsHalfToEven) {
  use("de_DE", "UTC");
  const std::pair<double, const char*> rows[] = {{5.5, "06"}, {9.5, "10"}, {10.5, "10"}, {12.75, "13"}, {2.5, "02"}, {-2.5, "-02"}, {-3.5, "-04"},
                                                 {-5, "-05"}, {-9.5, "-10"}, {30, "30"}, {0, "00"}, {-0.0, "-00"}, {100, "100"}};
  for (const auto& [value, text] : rows) EXPECT_EQ(formatting_.number(value, "00"), text);
}

}  // namespace
}  // namespace platform
