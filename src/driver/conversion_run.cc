// The conversion run: names, definition, optional summary, binding, the
// error gate, then the data, element text and subset files in that order.
#include "driver/conversion_run.h"

#include "core/number_text.h"
#include "core/sys_error.h"
#include "driver/run_state.h"
#include "runtime/console.h"
#include "runtime/text_file.h"
#include "vdd/definition.h"
#include "vdd/vdd_reader.h"
#include "vdd/vdd_summary.h"
#include "veda/data_file.h"
#include "veda/element_text_file.h"
#include "veda/entry_binding.h"
#include "veda/output_file.h"
#include "veda/run_names.h"
#include "veda/subset_file.h"
#include "veda/veda_state.h"

namespace driver {

namespace {

using rt::ShortStr;

void countLine(std::string_view what, int32_t n) {
  rt::outLn((ShortStr("--- VEDA Cube: ") + what + "=" + core::intToStr(n)).view());
}

// The definition summary of the fourth argument (cut at 255 bytes, like
// every argument). A file that can't be written is reported and counted, so
// the run stops at the error gate.
void writeSummary(const ShortStr& name) {
  rt::TextFile f;
  int rc = f.create(name.view());
  if (rc != 0) {
    vdd::reportError(ShortStr("Could not open dump file: ") + name);
    vdd::reportError(ShortStr("Msg: ") + core::sysErrorMessage(rc));
    return;
  }
  vdd::dumpVdd(f);
  rc = f.close();
  if (rc != 0) {
    vdd::reportError(ShortStr("Could not write dump file: ") + name);
    vdd::reportError(ShortStr("Msg: ") + core::sysErrorMessage(rc));
  }
}

void printCube() {
  const vdd::Definition& d = vdd::def;
  ShortStr line("--- VEDA Cube: Dimensions=");
  line = line + core::intToStr(d.numDimension) + " Entries=" + core::intToStr(d.numDataEntry) +
         " Text=" + core::intToStr(d.numText) + " SubSets=" + core::intToStr(d.numSubset);
  rt::outLn(line.view());
}

}  // namespace

void conversionRun(int argc, char** argv) {
  run.fnvdd = argv[2];
  veda::RunNames names = veda::deriveRunNames(run.fnzab.view(), argc > 3 ? argv[3] : nullptr);
  run.runid = names.runid;
  run.fnveda = names.fnveda;
  run.vedaline = names.vedaline;
  run.filler = names.filler;

  vdd::loadVdd(run.fnvdd.view());
  if (argc > 4 && argv[4][0] != '\0') writeSummary(ShortStr(argv[4]));
  printCube();
  veda::bindDataEntries();
  veda::checkTextEntries();
  if (vdd::def.numErr > 0) rt::halt(1);

  veda::writeDataFile();
  veda::writeElementTextFile();
  veda::writeSubsetFile();
  veda::closeChecked(veda::state.vde);
  countLine("TextRecords", run.cnttxt);
  veda::closeChecked(veda::state.vds);
  countLine("SubSRecords", run.cntsub);
  rt::halt(0);
}

}  // namespace driver
