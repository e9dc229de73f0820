#include "driver/usage.h"

#include "runtime/console.h"
#include "runtime/version.h"

namespace driver {

void shortHelp() {
  rt::outLn();
  rt::outLn(rt::auditLine().view());
  rt::outLn();
  rt::outLn();
  rt::outLn(">zab2veda zab vdd [run]");
  rt::outLn();
  rt::outLn("   zab  ORMA ZAB file");
  rt::outLn("   vdd  VEDA Data Definition file");
  rt::outLn("   run  VEDA Run identifier (optional)");
  rt::outLn();
  rt::outLn("The VEDA data file name and run identifier are either taken from the zab file name");
  rt::outLn("or specified with the run name. Use \"token with blanks\" if needed.");
  rt::outLn();
  rt::outLn(">zab2veda myzab    //  will dump the zab symbols");
  rt::outLn(">zab2veda          //  prints this message");
  rt::outLn(">zab2veda --help   //  prints more detailed help message");
  rt::outLn();
  rt::outLn("Add .csv to the run name to write in csv format");
  rt::outLn();
}

}  // namespace driver
