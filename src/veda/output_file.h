// Output files of the conversion that never fail silently.
//
// Creating: a failure reports "Could not open file: " + the name given for
// the report and "Msg: " + the system's text, and ends the run with exit
// code 1. Writing: rt::TextFile keeps the first failure; checkWritten() and
// closeChecked() report it as "Could not write file: " + the file's name and
// "Msg: " + the system's text, and end the run with exit code 1, so a
// truncated file is never passed off as complete.
#pragma once

#include <cstdint>
#include <memory>
#include <string_view>
#include <vector>

#include "runtime/text_file.h"
#include "veda/field_builder.h"

namespace rt {
class BatchPipeline;
}

namespace veda {

void createOrFail(rt::TextFile& f, std::string_view path, std::string_view reportName);
inline void createOrFail(rt::TextFile& f, std::string_view path) { createOrFail(f, path, path); }

// Ends the run (exit code 1) when a write to f has failed.
void checkWritten(rt::TextFile& f);
// Flushes f and ends the run (exit code 1) when anything failed.
void flushChecked(rt::TextFile& f);
// Closes f and ends the run (exit code 1) when anything failed.
void closeChecked(rt::TextFile& f);

// One line of the element-text or subset file: the tab field, the parent
// field only when the definition has a parent tab, then the two others, all
// joined by commas.
void writeTabRecord(rt::TextFile& f, std::string_view tab, std::string_view parent,
                    std::string_view second, std::string_view third);

// Builds the four fields of one line of a sorted walk (see writeTabRecord)
// from the line's tuple and the walk's `aux` (a pass's own datum). Called on
// several threads at once, each with its own scratch: it may only read state
// that stays unchanged during the walk.
class TabLineBuilder {
 public:
  struct Scratch {
    FieldBuf parent, element;
  };
  virtual ~TabLineBuilder() = default;
  virtual void build(const int32_t* tuple, int count, const char* aux, Scratch& scratch,
                     std::string_view fields[4]) const = 0;
};

// The lines of the element-text and subset files' sorted walks. On one
// thread each line is built and written at once (writeTabRecord). On more
// (rt::configuredThreads), the walking thread hands the tuples over in
// batches, workers build the lines, and they go into the file in order,
// line by line through the file's buffer as writeTabRecord would put them,
// so the file, its write failures and the lines kept on a halt are the
// same on any number of threads.
class TabLines {
 public:
  explicit TabLines(rt::TextFile& f);
  ~TabLines();
  TabLines(const TabLines&) = delete;
  TabLines& operator=(const TabLines&) = delete;

  // The builder of the lines added until the next finish(); it must live
  // until then.
  void begin(const TabLineBuilder& builder) { builder_ = &builder; }
  void add(const int32_t* tuple, int count, const char* aux);
  // Every line added so far is in the file (its buffer) when this returns.
  void finish();

 private:
  static constexpr int kBatchLines = 4096;
  struct Batch;
  void buildBatch(int slot);
  void writeBatch(int slot);

  rt::TextFile& f_;
  const TabLineBuilder* builder_ = nullptr;
  TabLineBuilder::Scratch scratch_;  // the one-thread way
  int batchLines_ = kBatchLines;
  std::vector<Batch> batches_;
  Batch* filling_ = nullptr;
  std::unique_ptr<rt::BatchPipeline> pipe_;
};

}  // namespace veda
