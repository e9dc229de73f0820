#include "veda/run_names.h"

#include "core/file_names.h"
#include "core/text_case.h"

namespace veda {

using rt::ShortStr;

ShortStr removeFileExt(std::string_view name) {
  ShortStr ext = core::extractFileExtEx(name);
  return ShortStr(name.substr(0, name.size() - static_cast<size_t>(ext.length())));
}

RunNames deriveRunNames(std::string_view fnzab, const char* run) {
  RunNames n;
  if (run != nullptr) {
    // the argument is a bounded string: every name comes from its first 255 bytes
    const ShortStr cut(run);
    std::string_view r = cut.view();
    n.runid = removeFileExt(core::extractFileNameEx(r).view());
    if (core::sameText(core::extractFileExtEx(r).view(), ".csv")) {
      n.fnveda = core::changeFileExtEx((n.runid + "_vd").view(), ".csv");
      n.vedaline = false;
    } else {
      n.fnveda = core::changeFileExtEx(r, ".vd");
      n.vedaline = true;
    }
  } else {
    n.runid = removeFileExt(core::extractFileNameEx(fnzab).view());
    n.fnveda = core::changeFileExtEx(n.runid.view(), ".vd");
    n.vedaline = true;
  }
  n.filler = n.vedaline ? ShortStr("\"-\"") : ShortStr();
  return n;
}

// The csv names below append to the run identifier as it is: a dotted runid
// "my.run" gives my.run_vde.csv, so the files of one run never share a name
// with its data file (my.csv for the run name my.run.csv).
ShortStr headerCsvName(std::string_view runid) { return ShortStr(runid) + "_vdheader.csv"; }

ShortStr dataCsvName(std::string_view runid) { return ShortStr(runid) + "_vd.csv"; }

ShortStr elementTextFileName(std::string_view runid, bool vedaFiles) {
  if (vedaFiles) return core::changeFileExtEx(runid, ".vde");
  return ShortStr(runid) + "_vde.csv";
}

ShortStr subsetFileName(std::string_view runid, bool vedaFiles) {
  if (vedaFiles) return core::changeFileExtEx(runid, ".vds");
  return ShortStr(runid) + "_vds.csv";
}

}  // namespace veda
