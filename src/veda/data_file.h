// The VEDA data file: header, then one line per record of every data entry,
// one field per tab and one or two value fields. Every tab tuple written is
// added to the projection (text 0).
//
// Files: VEDA format writes driver::run.fnveda; the `format csv` option
// writes the header into runid_vdheader.csv (driver::run.fnvedah) and the
// data lines into runid_vd.csv, which becomes fnveda. The label table is
// read and the literals resolved once the data file exists. The file is
// closed at the end; any failure to create or write a file ends the run with
// exit code 1.
#pragma once

namespace veda {

void writeDataFile();

// writevalue as text: a special value's mapping text (in double quotes when
// the mapping marks it as a string), else dbltostr. Cut at 255 bytes; out
// needs room for 256 bytes. Returns the length.
int formatDataValue(double v, char* out);

}  // namespace veda
