#include "zablib/zab_error.h"

namespace zablib {

std::string errorText(int code) {
  switch (code) {
    case kOk:
      return "no error";
    case kErrOpenFile:
      return "cannot open the file";
    case kErrNotRegular:
      return "not a regular file";
    case kErrMapFile:
      return "cannot map the file into memory";
    case kErrTooShort:
      return "file too short to be a ZAB file";
    case kErrBadMagic:
      return "not a ZAB file (wrong magic number)";
    case kErrBadVersion:
      return "unsupported ZAB format version";
    case kErrHeaderCrc:
      return "file header damaged (checksum mismatch)";
    case kErrHeaderField:
      return "file header damaged (field out of range)";
    case kErrFileSize:
      return "file size differs from the header (truncated or extended file)";
    case kErrSectionSizes:
      return "file sections do not add up to the file size";
    case kErrLabelsCrc:
      return "label table damaged (checksum mismatch)";
    case kErrTextsCrc:
      return "element-text table damaged (checksum mismatch)";
    case kErrSymbolsCrc:
      return "symbol table damaged (checksum mismatch)";
    case kErrLabelTable:
      return "label table malformed";
    case kErrLabelDuplicate:
      return "label table holds two labels that differ only in case";
    case kErrTextTable:
      return "element-text table malformed";
    case kErrSymbolTable:
      return "symbol table malformed";
    case kErrSymbolDuplicate:
      return "symbol table holds two names that differ only in case";
    case kErrBlockBounds:
      return "record blocks do not fill the record area";
    case kErrBlockCrc:
      return "record block damaged (checksum mismatch)";
    case kErrBlockData:
      return "record block malformed";
    case kErrReadIo:
      return "read error";
    case kErrFileChanged:
      return "the file changed while it was open";
    case kErrNoFile:
      return "no file is open for this operation";
    case kErrFileOpen:
      return "a file is open already";
    case kErrSymbolNumber:
      return "symbol number out of range";
    case kErrNoRead:
      return "no record read in progress";
    case kErrNoWrite:
      return "no symbol write in progress";
    case kErrWriteActive:
      return "a symbol write is still in progress";
    case kErrBadArgument:
      return "invalid argument";
    case kErrNoMemory:
      return "out of memory";
    case kErrCreateFile:
      return "cannot create the file";
    case kErrWriteIo:
      return "write failed";
    case kErrRename:
      return "cannot move the finished file to its name";
    case kErrLabelLength:
      return "a label is 1 to 255 bytes";
    case kErrTooManyLabels:
      return "too many labels";
    case kErrLabelNumber:
      return "key is not a registered label number";
    case kErrNameLength:
      return "a symbol name is 1 to 63 bytes";
    case kErrNameDuplicate:
      return "symbol name used already (case ignored)";
    case kErrDim:
      return "dimension outside 0..20";
    case kErrType:
      return "invalid symbol type";
    case kErrTextLength:
      return "a text is at most 255 bytes";
    case kErrTooManyTexts:
      return "too many element texts";
    case kErrDuplicateKey:
      return "duplicate key: two records of one symbol have the same key";
    case kErrSetTextNumber:
      return "set record level is not a valid element-text number";
    case kErrAliasTarget:
      return "an alias must name an earlier set";
    case kErrTooManyRecords:
      return "too many records in one symbol";
    case kErrTooManySymbols:
      return "too many symbols";
    case kErrScalarRecords:
      return "a scalar holds at most one record";
    default:
      return "unknown error number " + std::to_string(code);
  }
}

}  // namespace zablib
