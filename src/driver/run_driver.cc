#include "driver/run_driver.h"

#include "core/file_names.h"
#include "core/number_text.h"
#include "core/text_case.h"
#include "driver/conversion_run.h"
#include "driver/dump_mode.h"
#include "driver/run_state.h"
#include "driver/usage.h"
#include "runtime/console.h"
#include "runtime/version.h"
#include "vdd/definition.h"
#include "vdd/vdd_help.h"
#include "zab/zab_api.h"

namespace driver {

namespace {

// A library message line: "*** " and the text, the text cut at 255 bytes.
void libraryMessage(const rt::ShortStr& text) {
  rt::out("*** ");
  rt::outLn(text.view());
}

[[noreturn]] void libraryNotLoaded() {
  libraryMessage("Could not load ZAB library");
  libraryMessage("Msg: " + run.msg);
  rt::halt(1);
}

bool isShortHelp(const rt::ShortStr& help) {
  return help == "-H" || help == "-HELP" || help == "/?" || help == "?";
}

// Opens the ZAB file through a new ZAB object; ends the run when it can't.
void openZab(const char* firstArg) {
  if (!zab::zabCreateX(run.pgx, run.msg)) libraryNotLoaded();
  run.fnzab = core::completeFileExtEx(rt::ShortStr(firstArg).view(), ".zab");
  run.rc = 0;
  int ok = zab::api.zabOpenRead(run.pgx, run.fnzab.asBuffer(), &run.rc);
  if (ok != 0 && run.rc == 0) return;
  run.msg.clear();
  zab::api.zabErrorStr(run.pgx, run.rc, run.msg.asBuffer());
  libraryMessage("Could not open ZAB: " + run.fnzab);
  libraryMessage("Msg: " + run.msg);
  rt::halt(1);
}

// Special values (after a reset to the library's defaults) and the counts.
void readFileHeader() {
  double specials[7] = {};
  zab::api.zabResetSpecialValues(run.pgx);
  zab::api.zabGetSpecialValues(run.pgx, specials);
  for (int i = 0; i < 5; i++) run.specialvalues[i] = specials[i];
  int nrsy = 0, nruel = 0;
  zab::api.zabSystemInfo(run.pgx, &nrsy, &nruel);
  run.nrsy = nrsy;
  run.nruel = nruel;
  rt::out("--- ZAB File : Symbols=");
  rt::out(core::intToStr(run.nrsy).view());
  rt::out(" UELs=");
  rt::outLn(core::intToStr(run.nruel).view());
}

}  // namespace

void runDriver(int argc, char** argv) {
  rt::setSystemName("ORM2VEDA");
  if (argc > 1 && core::sameText(argv[1], "AUDIT")) {
    rt::outLn(rt::auditLine().view());
    rt::halt(0);
  }
  vdd::def.numErr = 0;
  run.help = argc > 1 ? core::upperCase(argv[1]) : rt::ShortStr("-H");
  // Like the help switches: the first argument in any case, later ones ignored.
  if (run.help == "--VERSION") {
    rt::outLn((rt::ShortStr("zab2veda ") + rt::programVersion()).view());
    rt::halt(0);
  }
  if (run.help == "--HELP") {
    shortHelp();
    vdd::vddHelp();
    rt::halt(0);
  }
  if (isShortHelp(run.help)) {
    shortHelp();
    rt::halt(0);
  }

  zab::setExecutableDirectory(argv[0]);
  if (!zab::zabGetReadyX(run.msg)) libraryNotLoaded();
  openZab(argv[1]);
  readFileHeader();

  if (argc == 2) dumpMode();
  conversionRun(argc, argv);
}

}  // namespace driver
