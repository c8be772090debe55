/* engine_user IN.pdf OUT.pdf: the web profile, by the engine's C interface alone. */
#include <PdfOptimizeAPI.h>
#include <stdio.h>

int main(int argc, char** argv) {
  if (argc != 3 || !PdfOptimizeInitialize()) return 2;
  OptimizerHandle document = PdfOptimizeCreateObject();
  int done = PdfOptimizeOpenA(document, argv[1], "") && PdfOptimizeSetProfile(document, 3) &&
             PdfOptimizeSaveAsA(document, argv[2], "", "", 0xFFFFFFFFu);
  if (!done) fprintf(stderr, "%s\n", PdfOptimizeGetErrorMessageA(document));
  PdfOptimizeDestroyObject(document);
  PdfOptimizeUnInitialize();
  return done ? 0 : 1;
}
