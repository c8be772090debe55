// How long the engine's rooms take, over one table of inputs taken from samples/. The counter `out` is the
// size in bytes of what a row makes, so that a change for speed shows what it costs.
//
// build/bench/engine_bench [--benchmark_filter=encode] [--benchmark_format=json] …

#include <benchmark/benchmark.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <iostream>
#include <qpdf/QPDF.hh>
#include <string>
#include <vector>

#include "optimizer/base/pool.h"
#include "optimizer/codec/bitonal_codec.h"
#include "optimizer/codec/ccitt.h"
#include "optimizer/codec/flate.h"
#include "optimizer/codec/jbig2_encoder.h"
#include "optimizer/codec/jpeg.h"
#include "optimizer/document/document.h"
#include "optimizer/document/save.h"
#include "optimizer/image/decode.h"
#include "optimizer/image/resample.h"
#include "optimizer/image/source.h"
#include "optimizer/passes/passes.h"
#include "optimizer/pipeline/optimize.h"
#include "optimizer/pipeline/report.h"

namespace {

using namespace optimizer;
using benchmark::State;

// What cannot fail here says why and stops: a row without its input would measure nothing.
template <typename Outcome>
Outcome require(Outcome outcome, const std::string& what) {
  if (outcome.ok()) return outcome;
  std::cerr << what << ": " << outcome.error().message << "\n";
  std::exit(1);
}

template <typename Value>
Value need(Result<Value> result, const std::string& what) {
  return std::move(*require(std::move(result), what));
}

std::string samplePath(const char* sample) { return std::string(KELV_SAMPLES "/") + sample + ".pdf"; }

std::unique_ptr<Document> openSample(const char* sample) {
  return need(Document::open(samplePath(sample), ""), sample);
}

// The first image of a sample's first page.
ImageSource imageOf(const char* sample) {
  const std::unique_ptr<Document> document = openSample(sample);
  QPDFObjectHandle page = document->pages().front();
  for (auto& [name, object] : page.getKey("/Resources").getKey("/XObject").getDictAsMap()) {
    if (object.getDict().getKey("/Subtype").isNameAndEquals("/Image"))
      return need(readImageSource(object), sample);
  }
  std::cerr << sample << " has no image\n";
  std::exit(1);
}

Pixels pixelsOf(const char* sample) { return need(decodeImage(imageOf(sample)), sample); }

void setOutput(State& state, std::size_t bytes) { state.counters["out"] = static_cast<double>(bytes); }

void decode(State& state, const char* sample) {
  const ImageSource source = imageOf(sample);
  std::size_t bytes = 0;
  for ([[maybe_unused]] auto _ : state) bytes = need(decodeImage(source), sample).samples().size();
  setOutput(state, bytes);
}

void halve(State& state, const char* sample) {
  const Pixels pixels = pixelsOf(sample);
  for ([[maybe_unused]] auto _ : state) {
    benchmark::DoNotOptimize(resample(pixels, pixels.width() / 2, pixels.height() / 2));
  }
}

void encodeAsJpeg(State& state, const char* sample) {
  const Pixels pixels = pixelsOf(sample);
  std::size_t bytes = 0;
  for ([[maybe_unused]] auto _ : state) bytes = need(encodeJpeg(pixels, {}), sample).data.size();
  setOutput(state, bytes);
}

void encodeAsFlate(State& state, const char* sample) {
  const PackedSamples samples = packedOf(pixelsOf(sample));
  std::size_t bytes = 0;
  for ([[maybe_unused]] auto _ : state) bytes = encodeFlate(samples).data.size();
  setOutput(state, bytes);
}

void encodeAsJbig2(State& state, const char* sample) {
  const Bitonal picture = bitonalOf(pixelsOf(sample));
  std::size_t bytes = 0;
  for ([[maybe_unused]] auto _ : state) bytes = encodeJbig2(picture).size();
  setOutput(state, bytes);
}

void encodeAsCcitt(State& state, const char* sample) {
  const Bitonal picture = bitonalOf(pixelsOf(sample));
  std::size_t bytes = 0;
  for ([[maybe_unused]] auto _ : state) bytes = encodeCcittG4(picture).size();
  setOutput(state, bytes);
}

std::string resultPath() {
  return (std::filesystem::temp_directory_path() / ("engine_bench-" + std::to_string(getpid()) + ".pdf"))
      .string();
}

void save(State& state, Document& document, const char* sample, const std::string& path) {
  WorkerPool pool(1);
  SaveOptions options;
  options.linearize = true;
  options.pool = &pool;
  state.ResumeTiming();
  benchmark::DoNotOptimize(require(saveDocument(document, path, options), sample));
  state.PauseTiming();
}

// One pass on a document that is opened anew each time; opening is not counted.
void runPass(State& state, const char* sample, std::unique_ptr<Pass> (*make)()) {
  const Settings settings = webSettings();
  for ([[maybe_unused]] auto _ : state) {
    state.PauseTiming();
    const std::unique_ptr<Document> document = openSample(sample);
    WorkerPool pool(1);
    Report report;
    PassContext context{*document, settings, pool, report};
    const std::unique_ptr<Pass> pass = make();
    report.begin(std::string(pass->name()));
    state.ResumeTiming();
    benchmark::DoNotOptimize(need(pass->process(context), sample));
  }
}

void subset(State& state, const char* sample) { runPass(state, sample, makeSubsetFontsPass); }
void dedupe(State& state, const char* sample) { runPass(state, sample, makeRedundantPass); }

void write(State& state, const char* sample) {
  const std::string path = resultPath();
  for ([[maybe_unused]] auto _ : state) {
    state.PauseTiming();
    const std::unique_ptr<Document> document = openSample(sample);
    save(state, *document, sample, path);
    state.ResumeTiming();
  }
  setOutput(state, std::filesystem::file_size(path));
  std::filesystem::remove(path);
}

void everything(State& state, const char* sample) {
  const std::string path = resultPath();
  OptimizeOptions options;
  options.threads = 1;
  for ([[maybe_unused]] auto _ : state) {
    const std::unique_ptr<Document> document = openSample(sample);
    Report report;
    benchmark::DoNotOptimize(
        require(optimizeToFile(*document, webSettings(), path, options, report), sample));
  }
  setOutput(state, std::filesystem::file_size(path));
  std::filesystem::remove(path);
}

struct Row {
  const char* room;
  const char* sample;
  void (*run)(State&, const char*);
};

const std::vector<Row> rows = {
    {"decode/jpeg-rgb", "photographs", decode},
    {"decode/jpeg-grey", "scan-grey", decode},
    {"decode/flate-bitonal", "scan-black-and-white", decode},
    {"decode/flate-rgb", "slides", decode},
    {"resample/rgb", "photographs", halve},
    {"resample/grey", "scan-grey", halve},
    {"encode/jpeg", "photographs", encodeAsJpeg},
    {"encode/jbig2", "scan-black-and-white", encodeAsJbig2},
    {"encode/ccitt", "scan-black-and-white", encodeAsCcitt},
    {"encode/flate", "slides", encodeAsFlate},
    {"subset", "report", subset},
    {"subset", "slides", subset},
    {"dedupe", "report", dedupe},
    {"dedupe", "charts", dedupe},
    {"write", "report", write},
    {"write", "charts", write},
    {"whole", "report", everything},
    {"whole", "slides", everything},
};

}  // namespace

int main(int argc, char** argv) {
  for (const Row& row : rows) {
    benchmark::RegisterBenchmark((std::string(row.room) + "/" + row.sample).c_str(), row.run, row.sample)
        ->Unit(benchmark::kMillisecond);
  }
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 2;
  benchmark::RunSpecifiedBenchmarks();
  return 0;
}
