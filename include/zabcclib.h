/* zabcclib.h: the C ABI of libzabcclib64, our ZAB access library.
 *
 * Conventions
 * - A short string is a 256-byte buffer: one length byte, then up to 255
 *   bytes (no terminating zero). Out short strings must point to 256 bytes.
 * - Key arrays of short strings are ZAB_MAXDIM such buffers in a row
 *   (ZAB_MAXDIM * 256 bytes); raw key arrays are ZAB_MAXDIM int32_t values;
 *   value arrays are ZAB_VALUES doubles; the special-value array is
 *   ZAB_SPECIALS doubles.
 * - Integer results are non-zero on success.
 * - Operations whose parameters hold no string are exported as "C__" + name,
 *   the others as "D__" + name. XCreate, XFree, zabSetLoadPath and
 *   zabGetLoadPath carry no prefix; XCreateD, XCheck and XAPIVersion carry
 *   "D__".
 * - The first argument of every operation is the object made by XCreate.
 *
 * Parameter type codes that D__XCheck compares (result first, then one per
 * parameter after the object): 3 int32 in (or int32 result), 4 int32 out,
 * 11 short string in, 12 short string out, 51 int32 key array in, 52 int32
 * key array out, 53 value array in, 54 value array out, 55 short-string key
 * array in, 56 short-string key array out, 57 special-value array in, 58
 * special-value array out, 60 int32 array in, 61 int32 array out, 62 double
 * array in, 63 double array out, 64 byte buffer in, 65 byte buffer out.
 * Read side as the converter binds it, e.g.
 * zabOpenRead 2 (3, 11, 4), zabDataReadRaw 3 (3, 52, 54, 4). Other entries:
 *   zabSetSpecialValues 1 (3, 57)      zabDataReadDone 0 (3)
 *   zabGetLastError 0 (3)              zabErrorCount 0 (3)
 *   zabOpenWrite 3 (3, 11, 11, 4)      zabUELRegisterStrStart 0 (3)
 *   zabUELRegisterStr 2 (3, 11, 4)     zabUELRegisterDone 0 (3)
 *   zabAddSetText 2 (3, 11, 4)         zabDataWriteDone 0 (3)
 *   zabDataWriteStrStart 5 (3, 11, 11, 3, 3, 3)
 *   zabDataWriteRawStart 5 (3, 11, 11, 3, 3, 3)
 *   zabDataWriteStr 2 (3, 55, 53)      zabDataWriteRaw 2 (3, 51, 53)
 *   zabAddAlias 3 (3, 11, 11, 11)
 * Bulk entries (below):
 *   zabDataReadRawBulk 7 (3, 3, 3, 3, 61, 63, 3, 4)
 *   zabDataWriteRawBulk 7 (3, 3, 3, 3, 60, 62, 3, 4)
 *   zabUELRegisterBulk 5 (3, 3, 64, 60, 61, 4)
 *   zabAddSetTextBulk 5 (3, 3, 64, 60, 61, 4)
 *   zabUMUelGetBulk 6 (3, 3, 3, 65, 3, 61, 4)
 *   zabGetElemTextBulk 6 (3, 3, 3, 65, 3, 61, 4)
 *   zabAliasOf 2 (3, 3, 4)             zabAddAliasX 4 (3, 11, 11, 11, 3)
 * Any other name is refused with the reason "<name> is not provided by
 * libzabcclib64".
 *
 * Special-value array: undefined, not available, plus infinity, minus
 * infinity, epsilon (defaults 1e300 .. 5e300), then 1e301 (where acronym
 * values would start) and 0 (reserved).
 *
 * Error numbers: 1xx opening and checking a file, 2xx misuse of the object,
 * 3xx writing; see src/zablib/zab_error.h. Error 123, "the file changed
 * while it was open", can also come from a read: a read start fails with it,
 * or zabDataReadStr / zabDataReadRaw answer 0 before the record count the
 * read start announced, and zabGetLastError then gives 123. A caller that
 * reads a symbol to its end compares the records it got with that count.
 * zabErrorStr gives, for the object's last error, the detailed text (what
 * and where), otherwise the generic text of the number. Every call that
 * fails sets an error number (zabGetLastError) and counts in zabErrorCount;
 * a lookup that finds nothing (zabFindSymbol, zabUMFindUEL, zabUMUelGet and
 * zabGetElemText with a number that has no label or text) answers 0
 * without an error.
 */
#ifndef ZABCCLIB_H
#define ZABCCLIB_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

#if defined(_WIN32)
#define ZAB_API __declspec(dllexport)
#else
#define ZAB_API __attribute__((visibility("default")))
#endif

#define ZAB_MAXDIM 20
#define ZAB_VALUES 5
#define ZAB_SPECIALS 7
#define ZAB_APIVERSION 11

/* Symbol type codes. */
#define ZAB_TYPE_SET 0
#define ZAB_TYPE_PARAMETER 1
#define ZAB_TYPE_VARIABLE 2
#define ZAB_TYPE_EQUATION 3
#define ZAB_TYPE_ALIAS 4

/* Layouts of the record arrays of the bulk reads and writes. */
#define ZAB_ROW_MAJOR 0
#define ZAB_COLUMN_MAJOR 1

/* Value fields of a record (0-based positions in a value array). */
#define ZAB_VAL_LEVEL 0
#define ZAB_VAL_MARGINAL 1
#define ZAB_VAL_LOWER 2
#define ZAB_VAL_UPPER 3
#define ZAB_VAL_SCALE 4

typedef void* zabHandle_t;
typedef unsigned char zabShortStr_t[256];

/* ---- administration ---------------------------------------------------- */

/* Creates an object; *pzab is NULL when that fails. */
ZAB_API void XCreate(zabHandle_t* pzab);
/* Same, with the directory the caller loaded the library from (short string). */
ZAB_API void D__XCreateD(zabHandle_t* pzab, const unsigned char* dirName);
/* Frees the object (closing any open file) and sets *pzab to NULL. */
ZAB_API void XFree(zabHandle_t* pzab);
/* Whether this library provides operation `name` (short string, without its
 * prefix) with `nargs` parameters of the given type codes (argTypes[0] is the
 * result's code, then one per parameter after the object). Returns 1 when it
 * does; 0 otherwise with the reason in msg. With nargs 0 it only gives, in
 * msg, the reason the operation is unavailable (or an empty text) and
 * returns whether the operation exists at all. */
ZAB_API int D__XCheck(const unsigned char* name, int nargs, const int* argTypes,
                      unsigned char* msg);
/* Accepts API version ZAB_APIVERSION: returns 1 and sets *checkMode to 0.
 * Any other version: returns 0 with the reason in msg. */
ZAB_API int D__XAPIVersion(int api, unsigned char* msg, int* checkMode);
ZAB_API int C__zabInitialize(void);
ZAB_API int C__zabFinalize(void);
ZAB_API void zabSetLoadPath(const unsigned char* path);
ZAB_API void zabGetLoadPath(unsigned char* path);

/* ---- read side --------------------------------------------------------- */

/* Opens and validates a whole file. Returns 1 with *errNr 0, or 0 with a
 * non-zero *errNr whose text zabErrorStr gives. */
ZAB_API int D__zabOpenRead(zabHandle_t pzab, const unsigned char* fileName, int* errNr);
ZAB_API int D__zabErrorStr(zabHandle_t pzab, int errNr, unsigned char* msg);
ZAB_API int C__zabClose(zabHandle_t pzab);
ZAB_API int C__zabResetSpecialValues(zabHandle_t pzab);
ZAB_API int C__zabGetSpecialValues(zabHandle_t pzab, double* specials);
ZAB_API int C__zabSetSpecialValues(zabHandle_t pzab, const double* specials);
ZAB_API int C__zabSystemInfo(zabHandle_t pzab, int* symbolCount, int* uelCount);
ZAB_API int D__zabSymbolInfo(zabHandle_t pzab, int symNr, unsigned char* name, int* dim, int* type);
ZAB_API int D__zabSymbolInfoX(zabHandle_t pzab, int symNr, int* recordCount, int* userInfo,
                              unsigned char* text);
ZAB_API int D__zabFindSymbol(zabHandle_t pzab, const unsigned char* name, int* symNr);
ZAB_API int C__zabDataReadStrStart(zabHandle_t pzab, int symNr, int* recordCount);
/* Next record of the read: result 0 when none is left. Every key of the
 * record is written (dimension short strings); *firstChanged is the 1-based
 * position of the first key that differs from the previous record of this
 * read (1 for the first record and for scalars). */
ZAB_API int D__zabDataReadStr(zabHandle_t pzab, unsigned char* keys, double* values,
                              int* firstChanged);
ZAB_API int C__zabDataReadRawStart(zabHandle_t pzab, int symNr, int* recordCount);
ZAB_API int C__zabDataReadRaw(zabHandle_t pzab, int* keys, double* values, int* firstChanged);
ZAB_API int C__zabDataReadDone(zabHandle_t pzab);
ZAB_API int D__zabGetElemText(zabHandle_t pzab, int textNr, unsigned char* text, int* node);
ZAB_API int D__zabUMUelGet(zabHandle_t pzab, int uelNr, unsigned char* uel, int* userMap);
ZAB_API int D__zabUMFindUEL(zabHandle_t pzab, const unsigned char* uel, int* uelNr, int* userMap);
/* The number of the object's last error, which is then cleared (0: none). */
ZAB_API int C__zabGetLastError(zabHandle_t pzab);
/* Errors since the last zabOpenRead / zabOpenWrite. */
ZAB_API int C__zabErrorCount(zabHandle_t pzab);

/* ---- write side -------------------------------------------------------- */

/* Creates the file; nothing reaches its final name before zabClose
 * succeeds. */
ZAB_API int D__zabOpenWrite(zabHandle_t pzab, const unsigned char* fileName,
                            const unsigned char* producer, int* errNr);
/* Registers labels in order (numbers 1, 2, ...); the number of an existing
 * label (ASCII case ignored) is returned for a repeat. */
ZAB_API int C__zabUELRegisterStrStart(zabHandle_t pzab);
ZAB_API int D__zabUELRegisterStr(zabHandle_t pzab, const unsigned char* uel, int* uelNr);
ZAB_API int C__zabUELRegisterDone(zabHandle_t pzab);
/* Adds a set element text; *textNr is its number (an equal text shares one;
 * an empty text is no text, number 0). */
ZAB_API int D__zabAddSetText(zabHandle_t pzab, const unsigned char* text, int* textNr);
/* Starts a symbol whose records come with label strings as keys. */
ZAB_API int D__zabDataWriteStrStart(zabHandle_t pzab, const unsigned char* name,
                                    const unsigned char* text, int dim, int type, int userInfo);
ZAB_API int D__zabDataWriteStr(zabHandle_t pzab, const unsigned char* keys, const double* values);
/* Starts a symbol whose records come with label numbers as keys. */
ZAB_API int D__zabDataWriteRawStart(zabHandle_t pzab, const unsigned char* name,
                                    const unsigned char* text, int dim, int type, int userInfo);
ZAB_API int C__zabDataWriteRaw(zabHandle_t pzab, const int* keys, const double* values);
/* Ends the symbol: sorts its records; a duplicate key fails here. */
ZAB_API int C__zabDataWriteDone(zabHandle_t pzab);
/* Adds alias `aliasName` of the earlier set `setName`, with an explanatory
 * text. */
ZAB_API int D__zabAddAlias(zabHandle_t pzab, const unsigned char* setName,
                           const unsigned char* aliasName, const unsigned char* text);

/* ---- bulk reads and writes ---------------------------------------------
 *
 * Many records, labels or texts per call, for callers that hold them in
 * arrays (one call per record costs as much as the record itself).
 *
 * Record arrays. A call handles up to `count` records; the record at
 * position r (0-based, within the call) has `dim` label numbers and
 * `valueCount` (0..ZAB_VALUES) values, the first valueCount fields of the
 * value array (level, marginal, lower, upper, scale).
 *   ZAB_ROW_MAJOR: key i of record r at keys[r * dim + i], value j at
 *     values[r * valueCount + j]; `stride` must be 0.
 *   ZAB_COLUMN_MAJOR: key i of record r at keys[i * stride + r], value j at
 *     values[j * stride + r]; `stride` (>= count) is the distance between two
 *     columns, 0 meaning count. A caller that fills columns of n records in
 *     pieces passes stride n and pointers advanced by the records done.
 * keys may be NULL for a scalar (dim 0) and values when valueCount is 0.
 * A negative count, an unknown layout, a valueCount outside 0..5, a bad
 * stride or a missing array fail with error 207 before any record.
 *
 * Label and text lists. `count` strings, back to back without length bytes
 * or terminators in `data`, string i having lengths[i] bytes.
 */

/* Reads up to `count` records of the read started by zabDataReadRawStart
 * (or zabDataReadStrStart), in stored order, into the caller's arrays
 * (above). *got is the number of records stored: fewer than count only when
 * the read reached its end; 0 once it is at its end. A next call goes on
 * with the record after the last one stored, so a symbol can be read in
 * pieces; zabDataReadRaw and this call may take turns. Returns 1, or 0 with
 * an error: 204 when no read is in progress, 207 for bad arguments, 123
 * when the file changed while it was read (the records stored before it,
 * counted in *got, are valid; the read is over). */
ZAB_API int C__zabDataReadRawBulk(zabHandle_t pzab, int count, int layout, int stride, int* keys,
                                  double* values, int valueCount, int* got);
/* Adds `count` records from the caller's arrays (above) to the symbol being
 * written (any order; duplicates fail at zabDataWriteDone as usual). Value
 * fields past valueCount take their defaults: level, marginal and lower 0,
 * upper plus infinity, scale 1 (only the level counts for a set, a
 * parameter or another symbol). On the first record that fails the call
 * returns 0 with that record's error (306 label number, 314 set text
 * number, ...; the text names the symbol and the record's number within the
 * symbol) and *done is the number of records of this call added before it. */
ZAB_API int C__zabDataWriteRawBulk(zabHandle_t pzab, int count, int layout, int stride,
                                   const int* keys, const double* values, int valueCount,
                                   int* done);
/* Registers `count` labels (list above) in order, as zabUELRegisterStr does
 * one by one; uelNrs (may be NULL) receives their numbers. On a label that
 * fails (304: empty or longer than 255 bytes; 305) the call returns 0 with
 * that error, the labels before it stay registered and *done counts them. */
ZAB_API int D__zabUELRegisterBulk(zabHandle_t pzab, int count, const char* data, const int* lengths,
                                  int* uelNrs, int* done);
/* Adds `count` set element texts (list above) as zabAddSetText does one by
 * one (an empty text is no text, number 0); textNrs (may be NULL) receives
 * their numbers. Failures as for zabUELRegisterBulk (311, 312). */
ZAB_API int D__zabAddSetTextBulk(zabHandle_t pzab, int count, const char* data, const int* lengths,
                                 int* textNrs, int* done);
/* Copies the labels numbered firstNr, firstNr + 1, ... (at most count, at
 * most up to the last label) back to back into buffer, as many as fit in
 * bufferSize bytes; lengths[i] receives the length of label firstNr + i and
 * *got how many were copied (0 when firstNr is the label count + 1). A
 * buffer of 255 bytes always takes at least one label. Works on a file open
 * for reading or for writing. Fails with 207 for a firstNr outside 1..label
 * count + 1, a negative count or bufferSize, a missing array, or a buffer
 * too small for label firstNr; with 201 when no file is open. */
ZAB_API int D__zabUMUelGetBulk(zabHandle_t pzab, int firstNr, int count, char* buffer,
                               int bufferSize, int* lengths, int* got);
/* The same for the element texts of a file open for reading. */
ZAB_API int D__zabGetElemTextBulk(zabHandle_t pzab, int firstNr, int count, char* buffer,
                                  int bufferSize, int* lengths, int* got);

/* The set that symbol symNr aliases: *setNr its number, 0 when symNr is not
 * an alias. Fails with 201 or 203 as zabSymbolInfo does. */
ZAB_API int C__zabAliasOf(zabHandle_t pzab, int symNr, int* setNr);
/* zabAddAlias with the alias's user info. */
ZAB_API int D__zabAddAliasX(zabHandle_t pzab, const unsigned char* setName,
                            const unsigned char* aliasName, const unsigned char* text,
                            int userInfo);

#ifdef __cplusplus
}
#endif

#endif /* ZABCCLIB_H */
