// The short usage text (shorthelp): printed for no argument and the help switches.
#pragma once

namespace driver {

// Writes the usage text to standard output; its second line is the audit line.
void shortHelp();

}  // namespace driver
