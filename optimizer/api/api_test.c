/* Drives the engine through its C interface, as a C program. */
#include <math.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "kelv/engine/PdfOptimizeAPI.h"

static int failures = 0;

#define CHECK(condition)                                                       \
  do {                                                                         \
    if (!(condition)) {                                                        \
      fprintf(stderr, "%s:%d: not true: %s\n", __FILE__, __LINE__, #condition); \
      ++failures;                                                              \
    }                                                                          \
  } while (0)

/* A PDF of one page whose cross-reference table is missing: the engine repairs it. */
static const char kPdf[] =
    "%PDF-1.4\n"
    "1 0 obj << /Type /Catalog /Pages 2 0 R >> endobj\n"
    "2 0 obj << /Type /Pages /Kids [3 0 R] /Count 1 >> endobj\n"
    "3 0 obj << /Type /Page /Parent 2 0 R /MediaBox [0 0 100 100] /Contents 4 0 R >> endobj\n"
    "4 0 obj << /Length 22 >> stream\n0 0 m 100 100 l S     \nendstream endobj\n"
    "5 0 obj << /Title (Old) /ModDate (D:20010203040506Z) >> endobj\n"
    "trailer << /Root 1 0 R /Info 5 0 R /Size 6 >>\n";

static char input[4096], output[4096], junk[4096];

static void makePaths(void) {
  const char* folder = getenv("TMPDIR") ? getenv("TMPDIR") : "/tmp";
  char pattern[4000];
  snprintf(pattern, sizeof pattern, "%s/api_test.%lx", folder, (unsigned long)(size_t)&pattern);
  snprintf(input, sizeof input, "%s.in.pdf", pattern);
  snprintf(output, sizeof output, "%s.out.pdf", pattern);
  snprintf(junk, sizeof junk, "%s.junk.pdf", pattern);
}

static void writeText(const char* path, const char* text) {
  FILE* file = fopen(path, "wb");
  if (!file) abort();
  fputs(text, file);
  fclose(file);
}

static int exists(const char* path) {
  FILE* file = fopen(path, "rb");
  if (file) fclose(file);
  return file != NULL;
}

static int textIs(const char* text, const char* wanted) { return text != NULL && strcmp(text, wanted) == 0; }

static void everyCallBearsNull(void) {
  CHECK(PdfOptimizeOpenA(NULL, input, "") == 0);
  CHECK(PdfOptimizeSaveAsA(NULL, output, "", "", 0xFFFFFFFFu) == 0);
  CHECK(PdfOptimizeClose(NULL) == 0);
  CHECK(PdfOptimizeGetErrorMessageA(NULL) == NULL);
  CHECK(PdfOptimizeGetInfoEntryA(NULL, "Title") == NULL);
  CHECK(PdfOptimizeSetInfoEntryA(NULL, "Title", "x") == 0);
  CHECK(PdfOptimizeSetProfile(NULL, 1) == 0);
  CHECK(PdfOptimizeSetColorConversion(NULL, 0) == 0);
  CHECK(PdfOptimizeSetStrip(NULL, 0) == 0);
  CHECK(PdfOptimizeSetColorResolutionDPI(NULL, 150) == 0);
  CHECK(PdfOptimizeSetImageQuality(NULL, 50) == 0);
  CHECK(PdfOptimizeSetSubsetFonts(NULL, 1) == 0);
  CHECK(PdfOptimizeSetMrcMaskCompression(NULL, 6) == 0);
  PdfOptimizeDestroyObject(NULL);

  OptimizerHandle handle = PdfOptimizeCreateObject();
  CHECK(handle != NULL);
  CHECK(PdfOptimizeOpenA(handle, NULL, NULL) == 0);
  CHECK(PdfOptimizeGetErrorMessageA(handle) != NULL);
  CHECK(PdfOptimizeSaveAsA(handle, NULL, NULL, NULL, 0xFFFFFFFFu) == 0);
  CHECK(PdfOptimizeGetErrorMessageA(handle) != NULL);
  CHECK(PdfOptimizeGetInfoEntryA(handle, NULL) == NULL);
  CHECK(PdfOptimizeSetInfoEntryA(handle, NULL, NULL) == 0);
  PdfOptimizeDestroyObject(handle);
}

static void settersCheckTheirRange(void) {
  OptimizerHandle handle = PdfOptimizeCreateObject();
  CHECK(PdfOptimizeGetErrorMessageA(handle) == NULL);
  CHECK(PdfOptimizeSetProfile(handle, 1) != 0);
  CHECK(PdfOptimizeSetProfile(handle, 3) != 0);
  CHECK(PdfOptimizeSetProfile(handle, 2) == 0);
  CHECK(PdfOptimizeGetErrorMessageA(handle) != NULL);
  CHECK(PdfOptimizeSetColorConversion(handle, 3) != 0);
  CHECK(PdfOptimizeGetErrorMessageA(handle) == NULL);
  CHECK(PdfOptimizeSetColorConversion(handle, 4) == 0);
  CHECK(PdfOptimizeSetResolutionDPI(handle, 150.0f) != 0);
  CHECK(PdfOptimizeSetResolutionDPI(handle, -1.0f) == 0);
  CHECK(PdfOptimizeSetThresholdDPI(handle, (float)NAN) == 0);
  CHECK(PdfOptimizeSetThresholdDPI(handle, (float)INFINITY) == 0);
  CHECK(PdfOptimizeSetImageQuality(handle, 75) != 0);
  CHECK(PdfOptimizeSetMrcLayerCompression(handle, 8) != 0);
  CHECK(PdfOptimizeSetMrcLayerCompression(handle, 7) == 0);
  CHECK(PdfOptimizeSetStrip(handle, 0x7FF) != 0);
  CHECK(PdfOptimizeSetStrip(handle, 0x800) == 0);
  PdfOptimizeDestroyObject(handle);
}

static void opensSavesAndKeepsInformation(void) {
  OptimizerHandle handle = PdfOptimizeCreateObject();
  CHECK(PdfOptimizeOpenA(handle, input, "") != 0);
  CHECK(textIs(PdfOptimizeGetInfoEntryA(handle, "Title"), "Old"));
  CHECK(PdfOptimizeGetInfoEntryA(handle, "Author") == NULL);
  CHECK(PdfOptimizeGetErrorMessageA(handle) == NULL);
  CHECK(PdfOptimizeSetInfoEntryA(handle, "Title", "\xC3\x9C" "ber \xE6\x97\xA5\xE6\x9C\xAC") != 0);
  CHECK(PdfOptimizeSetInfoEntryA(handle, "Author", "\xFF") == 0);
  /* A text that the handle owns may be given back to it. */
  CHECK(PdfOptimizeSetInfoEntryA(handle, "ModDate", PdfOptimizeGetInfoEntryA(handle, "ModDate")) != 0);
  CHECK(PdfOptimizeSetAutoLinearize(handle, 1) != 0);
  CHECK(PdfOptimizeSaveAsA(handle, output, "", "", 0xFFFFFFFFu) != 0);
  CHECK(PdfOptimizeGetErrorMessageA(handle) == NULL);
  CHECK(PdfOptimizeClose(handle) != 0);
  CHECK(PdfOptimizeSaveAsA(handle, output, "", "", 0xFFFFFFFFu) == 0);

  CHECK(PdfOptimizeOpenA(handle, output, "") != 0);
  CHECK(textIs(PdfOptimizeGetInfoEntryA(handle, "Title"), "\xC3\x9C" "ber \xE6\x97\xA5\xE6\x9C\xAC"));
  CHECK(textIs(PdfOptimizeGetInfoEntryA(handle, "ModDate"), "D:20010203040506Z"));
  CHECK(PdfOptimizeSetInfoEntryA(handle, "Title", "") != 0);
  CHECK(PdfOptimizeGetInfoEntryA(handle, "Title") == NULL);
  CHECK(PdfOptimizeSaveAsA(handle, output, "user", "owner", 0xFFFFFFFFu) != 0);

  CHECK(PdfOptimizeOpenA(handle, output, "") == 0);
  CHECK(PdfOptimizeGetErrorMessageA(handle) != NULL);
  CHECK(PdfOptimizeOpenA(handle, output, "user") != 0);
  CHECK(PdfOptimizeGetInfoEntryA(handle, "Title") == NULL);
  CHECK(!textIs(PdfOptimizeGetInfoEntryA(handle, "ModDate"), "D:20010203040506Z"));
  PdfOptimizeDestroyObject(handle);
  remove(output);
}

static void failuresHaveAMessageAndLeaveNoFile(void) {
  OptimizerHandle handle = PdfOptimizeCreateObject();
  CHECK(PdfOptimizeOpenA(handle, "/nonexistent/x.pdf", "") == 0);
  CHECK(textIs(PdfOptimizeGetErrorMessageA(handle), "The file does not exist"));
  CHECK(PdfOptimizeOpenA(handle, junk, "") == 0);
  CHECK(textIs(PdfOptimizeGetErrorMessageA(handle), "The file is not a PDF"));
  CHECK(PdfOptimizeOpenA(handle, "/", "") == 0);
  CHECK(textIs(PdfOptimizeGetErrorMessageA(handle), "The file is a folder"));
  CHECK(PdfOptimizeOpenA(handle, input, "") != 0);
  CHECK(PdfOptimizeSaveAsA(handle, "/nonexistent/x.pdf", "", "", 0xFFFFFFFFu) == 0);
  CHECK(PdfOptimizeGetErrorMessageA(handle) != NULL);
  CHECK(!exists(output));
  PdfOptimizeDestroyObject(handle);
}

int main(void) {
  makePaths();
  writeText(input, kPdf);
  writeText(junk, "no PDF at all");
  CHECK(PdfOptimizeInitialize() != 0);
  everyCallBearsNull();
  settersCheckTheirRange();
  opensSavesAndKeepsInformation();
  failuresHaveAMessageAndLeaveNoFile();
  PdfOptimizeUnInitialize();
  remove(input);
  remove(junk);
  return failures == 0 ? 0 : 1;
}
