// Error numbers of the ZAB library and their texts.
//
// Every failure has its own number. A ZabError carries the number and a text
// that says what is wrong and, for a damaged file, where ("record block of
// symbol 3 (cap): checksum mismatch at offset 1234"). errorText(n) is the
// generic text of a number, used when no detailed text is at hand.
#pragma once

#include <string>

namespace zablib {

enum ErrorCode : int {
  kOk = 0,
  // opening a file for reading
  kErrOpenFile = 101,         // cannot open the file (system reason)
  kErrNotRegular = 102,       // not a regular file
  kErrMapFile = 103,          // cannot map the file into memory
  kErrTooShort = 104,         // shorter than a header
  kErrBadMagic = 105,         // not a ZAB file
  kErrBadVersion = 106,       // unsupported format version
  kErrHeaderCrc = 107,        // header checksum mismatch
  kErrHeaderField = 108,      // a header field is out of range
  kErrFileSize = 109,         // file size differs from the header (truncated or extended)
  kErrSectionSizes = 110,     // section sizes do not add up to the file size
  kErrLabelsCrc = 111,        // label table checksum mismatch
  kErrTextsCrc = 112,         // element-text table checksum mismatch
  kErrSymbolsCrc = 113,       // symbol table checksum mismatch
  kErrLabelTable = 114,       // label table malformed
  kErrLabelDuplicate = 115,   // two labels equal ignoring case
  kErrTextTable = 116,        // element-text table malformed
  kErrSymbolTable = 117,      // symbol table malformed
  kErrSymbolDuplicate = 118,  // two symbol names equal ignoring case
  kErrBlockBounds = 119,      // record blocks do not fill the record area
  kErrBlockCrc = 120,         // record block checksum mismatch
  kErrBlockData = 121,        // record block malformed
  kErrReadIo = 122,           // read error
  kErrFileChanged = 123,      // the file changed size while open
  // use of the object
  kErrNoFile = 201,        // no file open (in the needed mode)
  kErrFileOpen = 202,      // a file is open already
  kErrSymbolNumber = 203,  // symbol number out of range
  kErrNoRead = 204,        // no read in progress
  kErrNoWrite = 205,       // no symbol write in progress
  kErrWriteActive = 206,   // a symbol write is still in progress
  kErrBadArgument = 207,   // null pointer or invalid argument
  kErrNoMemory = 208,      // out of memory
  // writing
  kErrCreateFile = 301,   // cannot create the file
  kErrWriteIo = 302,      // write failed
  kErrRename = 303,       // cannot move the finished file to its name
  kErrLabelLength = 304,  // label empty or longer than 255 bytes
  kErrTooManyLabels = 305,
  kErrLabelNumber = 306,    // raw key is not a registered label number
  kErrNameLength = 307,     // symbol name empty or longer than 63 bytes
  kErrNameDuplicate = 308,  // symbol name used already (case ignored)
  kErrDim = 309,            // dimension outside 0..20
  kErrType = 310,           // type code negative, or alias given to a data write
  kErrTextLength = 311,     // text longer than 255 bytes
  kErrTooManyTexts = 312,
  kErrDuplicateKey = 313,   // two records with the same key
  kErrSetTextNumber = 314,  // set record's level is not a valid element-text number
  kErrAliasTarget = 315,    // alias of something that is not a set
  kErrTooManyRecords = 316,
  kErrTooManySymbols = 317,
  kErrScalarRecords = 318,  // more than one record for a scalar (covered by 313)
};

// Generic text of an error number ("unknown error number N" for others).
std::string errorText(int code);

struct ZabError {
  int code = kOk;
  std::string text;

  bool ok() const { return code == kOk; }
  // Sets code and detail; returns false so that callers can `return err.set(...)`.
  bool set(int c, std::string t) {
    code = c;
    text = std::move(t);
    return false;
  }
  void clear() {
    code = kOk;
    text.clear();
  }
};

}  // namespace zablib
