/* writer.c: writes mills.zab (or the file named by the first argument)
 * through the ZAB library's C interface: the set of sawmills with their
 * names as element texts, and each mill's capacity. */
#include <stdio.h>
#include <string.h>
#include <zabcclib.h>

/* A short string: one length byte, then the text. */
static unsigned char* ss(unsigned char* buf, const char* text) {
  size_t n = strlen(text) < 255 ? strlen(text) : 255;
  buf[0] = (unsigned char)n;
  memcpy(buf + 1, text, n);
  return buf;
}

int main(int argc, char** argv) {
  const char* file = argc > 1 ? argv[1] : "mills.zab";
  const char* mills[] = {"north-mill", "south-mill"};
  const char* names[] = {"Northern sawmill, Lakeside", "Southern sawmill, Riverbend"};
  const double capacity[] = {420, 510};
  zabShortStr_t a, b, keys[ZAB_MAXDIM];
  double values[ZAB_VALUES] = {0};
  int err = 0, textNr, i, ok;
  zabHandle_t zab = NULL;

  XCreate(&zab);
  if (!zab || strlen(file) > 255) {
    fprintf(stderr, "cannot write %s: %s\n", file, zab ? "name too long" : "no ZAB object");
    return 1;
  }
  if (!D__zabOpenWrite(zab, ss(a, file), ss(b, "c-writer example"), &err)) {
    D__zabErrorStr(zab, err, a);
    fprintf(stderr, "cannot write %s: %.*s\n", file, a[0], (const char*)a + 1);
    XFree(&zab);
    return 1;
  }
  ok = D__zabDataWriteStrStart(zab, ss(a, "i"), ss(b, "sawmills"), 1, ZAB_TYPE_SET, 0);
  for (i = 0; ok && i < 2; i++) {
    ok = D__zabAddSetText(zab, ss(a, names[i]), &textNr);
    values[ZAB_VAL_LEVEL] = textNr;
    ok = ok && D__zabDataWriteStr(zab, ss(keys[0], mills[i]), values);
  }
  ok = ok && C__zabDataWriteDone(zab);
  ok = ok && D__zabDataWriteStrStart(zab, ss(a, "cap"), ss(b, "capacity in tonnes"), 1,
                                     ZAB_TYPE_PARAMETER, 0);
  for (i = 0; ok && i < 2; i++) {
    values[ZAB_VAL_LEVEL] = capacity[i];
    ok = D__zabDataWriteStr(zab, ss(keys[0], mills[i]), values);
  }
  ok = ok && C__zabDataWriteDone(zab);
  ok = ok && C__zabClose(zab); /* the file gets its name here */
  if (!ok) {
    D__zabErrorStr(zab, C__zabGetLastError(zab), a);
    fprintf(stderr, "cannot write %s: %.*s\n", file, a[0], (const char*)a + 1);
  }
  XFree(&zab);
  return ok ? 0 : 1;
}
