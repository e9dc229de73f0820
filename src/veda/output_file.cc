#include "veda/output_file.h"

#include <cstring>

#include "runtime/batch_pipeline.h"
#include "runtime/console.h"
#include "runtime/thread_count.h"
#include "vdd/definition.h"
#include "veda/projection.h"
#include "veda/report.h"

namespace veda {

void createOrFail(rt::TextFile& f, std::string_view path, std::string_view reportName) {
  int rc = f.create(path);
  if (rc != 0) failFile("Could not open file: ", reportName, rc);
}

void checkWritten(rt::TextFile& f) {
  if (f.ioResult() != 0) failFile("Could not write file: ", f.path(), f.ioResult());
}

void flushChecked(rt::TextFile& f) {
  if (f.flush() != 0) failFile("Could not write file: ", f.path(), f.ioResult());
}

void closeChecked(rt::TextFile& f) {
  std::string path = f.path();
  int rc = f.close();
  if (rc != 0) failFile("Could not write file: ", path, rc);
}

namespace {

char* put(char* p, std::string_view s) {
  if (!s.empty()) std::memcpy(p, s.data(), s.size());
  return p + s.size();
}

}  // namespace

// Built in the file's buffer in one go; the buffer is written out at the same
// line as with one write per field.
void writeTabRecord(rt::TextFile& f, std::string_view tab, std::string_view parent,
                    std::string_view second, std::string_view third) {
  const bool withParent = vdd::def.parent != -1;
  const size_t n =
      tab.size() + (withParent ? parent.size() + 1 : 0) + second.size() + third.size() + 3;
  char* const start = f.room(n);
  if (start == nullptr) {  // a file that fails, or a line longer than the buffer
    f.write(tab);
    f.write(',');
    if (withParent) {
      f.write(parent);
      f.write(',');
    }
    f.write(second);
    f.write(',');
    f.writeLn(third);
    return;
  }
  char* p = put(start, tab);
  *p++ = ',';
  if (withParent) {
    p = put(p, parent);
    *p++ = ',';
  }
  p = put(p, second);
  *p++ = ',';
  p = put(p, third);
  *p++ = '\n';
  f.commit(n);
}

struct TabLines::Batch {
  int count = 0;
  const TabLineBuilder* builder = nullptr;
  std::unique_ptr<int32_t[]> tuples;  // kMaxTuple per line
  std::unique_ptr<uint8_t[]> counts;
  std::unique_ptr<const char*[]> aux;
  std::unique_ptr<size_t[]> ends;  // line ends in chunk
  std::unique_ptr<char[]> chunk;   // room for the longest lines
  TabLineBuilder::Scratch scratch;
};

namespace {

// four fields of at most 255 bytes (FieldBuf), three commas and the line end
constexpr size_t kMaxLine = 4 * FieldBuf::kMax + 4;
constexpr int kMaxWorkers = 3;

}  // namespace

TabLines::TabLines(rt::TextFile& f) : f_(f) {
  const int threads = rt::configuredThreads();
  if (threads <= 1) return;
  const int workers = threads - 1 < kMaxWorkers ? threads - 1 : kMaxWorkers;
  batchLines_ = rt::configuredBatchRecords(kBatchLines);
  if (batchLines_ > kBatchLines) batchLines_ = kBatchLines;
  const size_t lines = static_cast<size_t>(batchLines_);
  batches_.resize(static_cast<size_t>(workers) + 2);
  for (Batch& b : batches_) {
    // left uninitialised: only the pages the lines use become resident
    b.tuples = std::make_unique_for_overwrite<int32_t[]>(lines * kMaxTuple);
    b.counts = std::make_unique_for_overwrite<uint8_t[]>(lines);
    b.aux = std::make_unique_for_overwrite<const char*[]>(lines);
    b.ends = std::make_unique_for_overwrite<size_t[]>(lines);
    b.chunk = std::make_unique_for_overwrite<char[]>(lines * kMaxLine);
  }
  pipe_ = std::make_unique<rt::BatchPipeline>(
      workers, static_cast<int>(batches_.size()), [this](int slot) { buildBatch(slot); },
      [this](int slot) { writeBatch(slot); }, [](int, bool) {});
  // on every way the run ends, the lines of the tuples walked go out first
  f_.attachDrain([](void* w) { static_cast<TabLines*>(w)->pipe_->haltDrain(); }, this);
}

TabLines::~TabLines() {
  if (pipe_) f_.attachDrain(nullptr, nullptr);
}

void TabLines::add(const int32_t* tuple, int count, const char* aux) {
  if (!pipe_) {
    std::string_view fields[4];
    builder_->build(tuple, count, aux, scratch_, fields);
    writeTabRecord(f_, fields[0], fields[1], fields[2], fields[3]);
    return;
  }
  if (count < 0 || count > kMaxTuple) rt::internalError("tuple of more than 20 integers");
  if (filling_ == nullptr) {
    filling_ = &batches_[static_cast<size_t>(pipe_->acquire())];
    filling_->count = 0;
    filling_->builder = builder_;
  }
  Batch& b = *filling_;
  const size_t i = static_cast<size_t>(b.count);
  int32_t* to = &b.tuples[i * kMaxTuple];
  for (int k = 0; k < count; ++k) to[k] = tuple[k];
  b.counts[i] = static_cast<uint8_t>(count);
  b.aux[i] = aux;
  if (++b.count == batchLines_) {
    pipe_->submit();
    filling_ = nullptr;
  }
}

void TabLines::finish() {
  if (!pipe_) return;
  filling_ = nullptr;
  pipe_->drain();  // submits the batch being filled too
}

void TabLines::buildBatch(int slot) {
  Batch& b = batches_[static_cast<size_t>(slot)];
  const bool withParent = vdd::def.parent != -1;
  char* const start = b.chunk.get();
  char* p = start;
  std::string_view fields[4];
  for (int k = 0; k < b.count; ++k) {
    const size_t i = static_cast<size_t>(k);
    b.builder->build(&b.tuples[i * kMaxTuple], b.counts[i], b.aux[i], b.scratch, fields);
    p = put(p, fields[0]);
    *p++ = ',';
    if (withParent) {
      p = put(p, fields[1]);
      *p++ = ',';
    }
    p = put(p, fields[2]);
    *p++ = ',';
    p = put(p, fields[3]);
    *p++ = '\n';
    b.ends[i] = static_cast<size_t>(p - start);
  }
}

// Line by line, as writeTabRecord puts them: the buffer is written out at
// the same lines.
void TabLines::writeBatch(int slot) {
  Batch& b = batches_[static_cast<size_t>(slot)];
  const char* const start = b.chunk.get();
  size_t from = 0;
  for (int k = 0; k < b.count; ++k) {
    const size_t end = b.ends[static_cast<size_t>(k)];
    const size_t n = end - from;
    char* to = f_.room(n);
    if (to != nullptr) {
      std::memcpy(to, start + from, n);
      f_.commit(n);
    } else {
      f_.write(std::string_view(start + from, n));
    }
    from = end;
  }
}

}  // namespace veda
