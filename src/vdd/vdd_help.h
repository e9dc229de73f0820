// The long help on the VDD file format (printed after the usage text for
// "--help"): fixed lines, each written with a line end to standard output.
#pragma once

namespace vdd {

void vddHelp();

// The help lines themselves (without line ends), for tests.
int vddHelpLineCount();
const char* vddHelpLine(int i);  // 0-based

}  // namespace vdd
