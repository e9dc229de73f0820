#include "vdd/definition.h"

#include <new>

namespace vdd {

const char* const kNameSuff[6] = {"", "l", "m", "lo", "up", "lm"};

Definition::Definition() {
  // The replacement texts of UNDEF, NA, INF, MINF, EPS and of normal values;
  // entry 6 is never set by the VDD reader.
  static const char* const kTexts[6] = {"8888888888", "9999999999", "+1e30", "-1e30", "0", ""};
  for (int i = 0; i < 6; ++i) {
    specialValueMapping.text[i] = kTexts[i];
    specialValueMapping.isString[i] = false;
    specialValueMapping.isZero[i] = false;
  }
  specialValueMapping.isZero[4] = true;  // EPS
}

void resetDefinition() {
  def.~Definition();
  new (&def) Definition();
}

}  // namespace vdd
