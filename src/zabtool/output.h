// Where zabtool writes a file.
//
// A regular file (or a new one) is written all or nothing: under a
// temporary name in its own directory, renamed onto it at the end. A
// symbolic link is followed, so the file it points to gets the content and
// the link stays a link. A device, pipe or socket cannot be replaced by a
// rename: it is written in place. "-" is standard output.
#pragma once

#include <cstdio>
#include <string>

#include "zablib/zab_writer.h"

namespace zabtool {

// Start of the message for a failed write to standard output.
extern const char kStdoutError[];  // "error writing standard output"

struct OutputTarget {
  std::string path;      // regular: the file to rename onto (links followed); else as given
  bool special = false;  // written in place (a device, pipe or socket, or standard output)
  bool standardOutput = false;
};

// Finds where `path` leads. False with a message when it cannot be written
// (a directory, a loop of links, ...).
bool resolveOutput(const std::string& path, OutputTarget& target, std::string& error);

// Opens a special target for writing (standard output as it is). False with
// a message.
bool openSpecial(const OutputTarget& target, FILE*& f, std::string& error);
// Closes what openSpecial opened (flushes standard output); false with a
// message when a write failed.
bool closeSpecial(const OutputTarget& target, FILE* f, std::string& error);

// For a writer that needs a regular file it can seek in (the ZAB writer):
// a regular target is written directly (through the writer's own temporary
// file); a special one is first written to a file in a private temporary
// directory and copied into the target by finish().
class StagedOutput {
 public:
  StagedOutput() = default;
  StagedOutput(const StagedOutput&) = delete;
  StagedOutput& operator=(const StagedOutput&) = delete;
  ~StagedOutput();

  // Resolves `path`; `writePath` receives the file the writer should write.
  bool begin(const std::string& path, std::string& writePath, std::string& error);
  // begin(), then opens `w` on the file to write, as `producer`.
  bool beginWriter(const std::string& path, const char* producer, zablib::ZabWriter& w,
                   std::string& error);
  // After the writer closed its file: copies it into a special target.
  bool finish(std::string& error);
  bool toStandardOutput() const { return target_.standardOutput; }

 private:
  OutputTarget target_;
  std::string stageDir_;  // temporary directory of a special target
  std::string stageFile_;
};

}  // namespace zabtool
