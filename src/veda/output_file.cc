#include "veda/output_file.h"

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

}  // namespace veda
