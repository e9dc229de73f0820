#include "veda/output_file.h"

#include <cstring>

#include "vdd/definition.h"
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

}  // namespace veda
