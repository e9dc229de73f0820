// Reading VDD lines and reporting errors with the line they belong to.
#include <cerrno>

#include "core/number_text.h"
#include "core/text_case.h"
#include "runtime/console.h"
#include "vdd/vdd_reader.h"

namespace vdd {

bool nextLine() {
  rt::ShortStr raw;
  for (;;) {
    // Reading ended at a failed read; it was reported once.
    if (def.rc != 0) return false;
    if (def.f.eof()) {
      // A file that fails on reading (a folder, a device error) ends like
      // this too: report the failed read rather than a silent end.
      def.rc = def.f.ioResult();
      if (def.rc != 0) {
        def.numLine += 1;
        reportError("Could not read line: " + core::intToStr(def.numLine));
      }
      return false;
    }
    def.numLine += 1;
    if (!def.f.readLine(raw)) {
      // eof() saw a byte, so this is a failed read, even one that a retry
      // might get past: reading ends here all the same.
      def.rc = def.f.ioResult() != 0 ? def.f.ioResult() : EIO;
      reportError("Could not read line: " + core::intToStr(def.numLine));
      return false;
    }
    // Kept: the comment test looks at the line before trimming, so an
    // indented "*" is not a comment.
    if (raw.empty() || raw[0] == '*') continue;
    def.origLine = raw;
    def.line = core::trimView(raw.view());
    if (def.line.empty()) continue;
    def.numToken = 0;
    return true;
  }
}

rt::ShortStr liner() { return " in line " + core::intToStr(def.numLine) + ": " + def.origLine; }

void reportError(std::string_view message) {
  def.numErr += 1;
  rt::ShortStr cut(message);
  rt::out("*** ");
  rt::outLn(cut.view());
}

}  // namespace vdd
