#include "veda/output_file.h"

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

void writeTabRecord(rt::TextFile& f, std::string_view tab, std::string_view parent,
                    std::string_view second, std::string_view third) {
  f.write(tab);
  f.write(',');
  if (vdd::def.parent != -1) {
    f.write(parent);
    f.write(',');
  }
  f.write(second);
  f.write(',');
  f.writeLn(third);
}

}  // namespace veda
