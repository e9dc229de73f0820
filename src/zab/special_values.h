// Special values: the five reserved doubles of a ZAB file and their
// replacement texts.
//
// Index 0 undefined, 1 not available, 2 plus infinity, 3 minus infinity,
// 4 epsilon. A value is special only when it equals one of the file's five
// values exactly (first match wins); a NaN matches nothing.
#pragma once

#include "runtime/short_string.h"

namespace zab {

constexpr double valund = 1e300;
constexpr double valna = 2e300;
constexpr double valpin = 3e300;
constexpr double valmin = 4e300;
constexpr double valeps = 5e300;
constexpr double valacr = 1e301;
constexpr double valiup = 3e300;
constexpr double valbig = 1e299;
constexpr double valsmall = -1e299;
constexpr double valtiny = 1e-250;
constexpr int valnaint = 2100000000;
constexpr double defiterlim = 2e9;
constexpr double old_valund = 1e30;
constexpr double old_valna = 2e30;
constexpr double old_valpin = 3e30;
constexpr double old_valmin = 4e30;
constexpr double old_valeps = 5e30;
constexpr double old_valacr = 1e31;

// The replacement texts and flags of the special values (the VDD layer owns
// one; its defaults are those of a run without VDD file). Entry 5 stands for
// normal values and entry 6 is never set.
struct SpecialValueMapping {
  rt::ShortStr text[7];
  bool isString[7];
  bool isZero[7];
  // The defaults: 8888888888, 9999999999, +1e30, -1e30, 0; no text is a
  // string; only the EPS text counts as zero.
  SpecialValueMapping()
      : text{"8888888888", "9999999999", "+1e30", "-1e30", "0", "", ""},
        isString{},
        isZero{false, false, false, false, true, false, false} {}
};

// Index 0..4 of the first of the five values that v equals, or -1.
int specialIndex(double v, const double specials[5]);

// isaspecialvalue: true with the mapping's text and is-string flag when v is special.
bool isASpecialValue(double v, const double specials[5], const SpecialValueMapping& m,
                     rt::ShortStr& text, bool& isString);

// writevalue as text: the mapping text (in double quotes when it is a string)
// for a special value, else dbltostr. Writes to out (at least 260 bytes of
// room) and returns the length.
int formatValue(double v, const double specials[5], const SpecialValueMapping& m, char* out);

int mapval(double x);
int xmapval(double x);

}  // namespace zab
