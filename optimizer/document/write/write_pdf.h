// Writes a document in as few bytes as its objects allow: large object streams with the strongest Deflate, ordered so
// that alike stands beside alike, compact syntax, and, where asked for, linearized (ISO 32000-1, Annex F).
#pragma once

#include <functional>

#include "optimizer/base/bytes.h"
#include "optimizer/base/result.h"
#include "optimizer/document/document.h"

namespace optimizer {

class WorkerPool;

// Takes the next bytes of the file.
using ByteSink = std::function<Status(ByteView)>;

// Not for encrypted files nor for those that must do without object streams. The document's page dictionaries may be
// rearranged (their values become objects of their own), but mean the same. pool may be null. level: of
// Deflate for object streams, see base/deflate.h.
// A document whose pages share objects in too tangled a way for the tables of a linearized file is written plainly.
// Errors: what the sink gives; damaged (a stream cannot be read).
Status writePdf(Document& document, bool linearize, WorkerPool* pool, int level, const ByteSink& sink);

}  // namespace optimizer
