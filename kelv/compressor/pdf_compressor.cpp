#include "kelv/compressor/pdf_compressor.h"

#include <utility>

namespace kelv {

std::shared_ptr<PDFCompressor> PDFCompressor::make(platform::Services& services) {
  return std::shared_ptr<PDFCompressor>(new PDFCompressor(services));
}

PDFCompressor::PDFCompressor(platform::Services& services)
    : services_(services), compressionQueue_(services.queues.newOperationQueue()) {
  PdfOptimizeInitialize();
  compressionQueue_->setMaxConcurrentOperationCount(services.process.processorCount() / 2);
}

PDFCompressor::~PDFCompressor() { PdfOptimizeUnInitialize(); }

void PDFCompressor::submitFile(Submission submission) {
  WorkItem item;
  item.handle = PdfOptimizeCreateObject();
  item.compressor = shared_from_this();
  item.password = submission.secondPassword.empty() ? submission.firstPassword : submission.secondPassword;
  item.file = std::move(submission);

  if (!item.file.asynchronous) {
    compressFile(std::move(item));
    return;
  }
  // The item moves on from the queue's block to the main queue's, so that the last reference to the
  // compressor, and with it to the queue, is never given back on one of the queue's own threads.
  auto shared = std::make_shared<WorkItem>(std::move(item));
  compressionQueue_->addOperation([shared] { compressFile(std::move(*shared)); });
}

}  // namespace kelv
