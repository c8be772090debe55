/* The C interface of the PDF optimization engine libPdfOptimizeAPI.
 *
 * Texts are NUL-terminated UTF-8; paths are bytes as the file system has them. A text that a function returns
 * belongs to the handle and is valid until the next call on that handle.
 * A result of 0 is a failure, any other value success; the reason of the last failure is read with
 * PdfOptimizeGetErrorMessageA. The calls that return int and are neither Open nor Save may be ignored by a caller.
 * One handle is one document, used by one thread at a time; different handles may run in parallel.
 * No call raises a C++ exception. A null handle is a failure, never undefined. */
#ifndef KELV_ENGINE_PDF_OPTIMIZE_API_H_
#define KELV_ENGINE_PDF_OPTIMIZE_API_H_

#ifdef __cplusplus
extern "C" {
#endif

typedef struct PdfOptimizeObject* OptimizerHandle;

/* Prepares the library for the process, before any handle is made. Calls may nest; each wants its UnInitialize. */
int PdfOptimizeInitialize(void);
void PdfOptimizeUnInitialize(void);

/* A new handle without a document, every setting at its neutral default; NULL when memory is out. */
OptimizerHandle PdfOptimizeCreateObject(void);
/* Frees the handle and what it holds; NULL is allowed. */
void PdfOptimizeDestroyObject(OptimizerHandle handle);

/* Opens the PDF at path with password ("" for none); a document that was open is closed first.
 * Fails when the file cannot be read, is no PDF, cannot be repaired, or the password is wrong. */
int PdfOptimizeOpenA(OptimizerHandle handle, const char* path, const char* password);
/* Optimizes the open document by the settings and writes it to path, which is created or overwritten.
 * Both passwords "" and permissions 0xFFFFFFFF: the file is not encrypted. On failure no file is left at path. */
int PdfOptimizeSaveAsA(OptimizerHandle handle, const char* path, const char* userPassword,
                       const char* ownerPassword, unsigned int permissions);
/* Closes the document; the handle can open another. */
int PdfOptimizeClose(OptimizerHandle handle);
/* What went wrong last; NULL when nothing failed. */
const char* PdfOptimizeGetErrorMessageA(OptimizerHandle handle);

/* An entry of the document information dictionary (ISO 32000-1, 14.3.3) by its name without the slash,
 * such as "Title"; NULL when it is absent. */
const char* PdfOptimizeGetInfoEntryA(OptimizerHandle handle, const char* name);
/* Sets an entry; "" clears it. ModDate is renewed by saving unless it was set. */
int PdfOptimizeSetInfoEntryA(OptimizerHandle handle, const char* name, const char* value);

/* 1 custom: every setting goes back to the neutral default. 3 web: the engine decides everything.
 * Other numbers fail and change nothing. */
int PdfOptimizeSetProfile(OptimizerHandle handle, int profile);
/* 0 none, 1 RGB, 2 CMYK, 3 grey. */
int PdfOptimizeSetColorConversion(OptimizerHandle handle, unsigned int conversion);
/* Or-ed bits: 0x1 threads, 0x2 metadata, 0x4 piece information, 0x8 structure tree, 0x10 thumbnails,
 * 0x20 spider information, 0x40 alternate images, 0x80 flatten form fields, 0x100 flatten links,
 * 0x200 flatten other annotations, 0x400 output intents. */
int PdfOptimizeSetStrip(OptimizerHandle handle, unsigned int mask);

/* Resolutions in dots per inch, 0 or more; not-a-number and infinities fail. An image whose effective resolution on
 * the page, at its largest use, is above its class's threshold is resampled down to its class's resolution.
 * 0 switches resampling off. Bitonal: 1 bit; monochrome: grey; color: the rest; the two without a class set all three. */
int PdfOptimizeSetBitonalResolutionDPI(OptimizerHandle handle, float dpi);
int PdfOptimizeSetBitonalThresholdDPI(OptimizerHandle handle, float dpi);
int PdfOptimizeSetMonochromeResolutionDPI(OptimizerHandle handle, float dpi);
int PdfOptimizeSetMonochromeThresholdDPI(OptimizerHandle handle, float dpi);
int PdfOptimizeSetColorResolutionDPI(OptimizerHandle handle, float dpi);
int PdfOptimizeSetColorThresholdDPI(OptimizerHandle handle, float dpi);
int PdfOptimizeSetResolutionDPI(OptimizerHandle handle, float dpi);
int PdfOptimizeSetThresholdDPI(OptimizerHandle handle, float dpi);
int PdfOptimizeSetMrcLayerResolutionDPI(OptimizerHandle handle, float dpi);

/* 1 to 100, on the scale of a JPEG encoder's quality; 100 is lossless. */
int PdfOptimizeSetImageQuality(OptimizerHandle handle, int quality);

/* Switches: 0 off, 1 on. */
int PdfOptimizeSetClipImages(OptimizerHandle handle, int on);
int PdfOptimizeSetReduceColorComplexity(OptimizerHandle handle, int on);
int PdfOptimizeSetForceRecompression(OptimizerHandle handle, int on);
int PdfOptimizeSetConvertToCFF(OptimizerHandle handle, int on);
int PdfOptimizeSetMergeEmbeddedFonts(OptimizerHandle handle, int on);
int PdfOptimizeSetRemoveStandardFonts(OptimizerHandle handle, int on);
int PdfOptimizeSetSubsetFonts(OptimizerHandle handle, int on);
int PdfOptimizeSetOptimizeResources(OptimizerHandle handle, int on);
int PdfOptimizeSetRemoveRedundantObjects(OptimizerHandle handle, int on);
int PdfOptimizeSetForceCompressionTypes(OptimizerHandle handle, int on);
int PdfOptimizeSetMrcRecognizePictures(OptimizerHandle handle, int on);
int PdfOptimizeSetAutoLinearize(OptimizerHandle handle, int on);
int PdfOptimizeSetRemoveImages(OptimizerHandle handle, int on);

/* Codec masks: bit n allows codec n. Codecs: 0 none, 1 JPEG, 2 Flate, 3 LZW (read only), 4 and 5 CCITT group 3 (read
 * only), 6 the best lossless bitonal codec, 8 JPEG 2000, 9 layered (MRC), 10 automatic. */
int PdfOptimizeSetBitonalCompressions(OptimizerHandle handle, int mask);
int PdfOptimizeSetContinuousCompressions(OptimizerHandle handle, int mask);
int PdfOptimizeSetIndexedCompressions(OptimizerHandle handle, int mask);

/* How grey becomes bitonal, in resampling and where no other codec is allowed: 0 by a threshold, 1 by error diffusion,
 * 2 by an ordered pattern. */
int PdfOptimizeSetDitheringMode(OptimizerHandle handle, int mode);

/* Layered coding of scanned pages: a codec number each for layers, mask and pictures; quality 1 to 100. */
int PdfOptimizeSetMrcLayerCompression(OptimizerHandle handle, int codec);
int PdfOptimizeSetMrcMaskCompression(OptimizerHandle handle, int codec);
int PdfOptimizeSetMrcPictCompression(OptimizerHandle handle, int codec);
int PdfOptimizeSetMrcLayerQuality(OptimizerHandle handle, int quality);

#ifdef __cplusplus
}
#endif

#endif /* KELV_ENGINE_PDF_OPTIMIZE_API_H_ */
