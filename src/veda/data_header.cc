#include "veda/data_header.h"

#include "driver/run_state.h"
#include "vdd/definition.h"
#include "veda/field_builder.h"

namespace veda {

using rt::ShortStr;

ShortStr dquotedStr(std::string_view s) {
  ShortStr r("\"");
  for (char c : s) {
    if (c == '"') r.append('"');
    r.append(c);
  }
  r.append('"');
  return r;
}

ShortStr writePv(int valueDim) { return valueDim == 2 ? ShortStr("PV;DV") : ShortStr("PV"); }

void writeHeader(rt::TextFile& f, std::string_view key, std::string_view value, bool csvOption) {
  ShortStr v(value);
  if (csvOption) {
    f.write(dquotedStr(key).view());
    f.write(',');
    f.writeLn(dquotedStr(v.view()).view());
    return;
  }
  f.write('*');
  for (int pad = 17 - static_cast<int>(key.size()); pad > 0; --pad) f.write(' ');
  f.write(key);
  f.write("- ");
  f.writeLn(v.view());
}

void writeVedaHeader(rt::TextFile& f) {
  vdd::Definition& d = vdd::def;
  vdd::TDimensionStore& store = d.dimensionStore;
  const vdd::Options& o = d.options;
  bool csv = o.csvFormat;
  int n = d.numDimension;

  writeHeader(f, "ZAB2VEDAversion", kBuildVersion, csv);
  writeHeader(f, "ImportID", ShortStr("Scenario:") + driver::run.runid, csv);
  writeHeader(f, "VEDAFlavor", d.vedaFlavor, csv);

  ShortStr dims;
  for (int t = 1; t <= n; ++t) dims = dims + store.getTabName(t) + ";";
  writeHeader(f, "Dimensions", dims + writePv(o.valueDim), csv);

  if (d.parent != -1) {
    ShortStr pairs;
    ShortStr parentName = store.getTabName(d.parent);
    for (int c = 1; c <= d.numChildren && c <= vdd::kMaxChildren; ++c) {
      if (c > 1) pairs.append("; ");
      pairs = pairs + store.getTabName(d.children[c]) + ": " + parentName;
    }
    writeHeader(f, "ParentDimensions", pairs, csv);
  }

  ShortStr allowed;
  bool first = true;
  for (int t = 1; t <= n; ++t) {
    if (t == d.atrPos) continue;
    if (o.setsAllowed && !o.setsAllowedDim[t]) continue;
    if (!first) allowed.append(";");
    allowed.append(store.getTabName(t).view());
    first = false;
  }
  writeHeader(f, "SetsAllowed", allowed, csv);

  ShortStr sizes;
  for (int t = 1; t <= n; ++t) sizes = sizes + store.getTabName(t) + ":63;";
  sizes.append("PV:20");
  if (o.valueDim == 2) sizes.append(";DV:20");
  writeHeader(f, "FieldSize", sizes, csv);

  writeHeader(f, "NotIndexed", writePv(o.valueDim), csv);
  writeHeader(f, "ValueDim", writePv(o.valueDim), csv);
  writeHeader(f, "DefaultValueDim", "PV", csv);
  writeHeader(f, "FieldSeparator", ",", csv);
  writeHeader(f, "TextDelim", "\"", csv);
  if (!csv) f.write('\n');
}

void writeCsvHeader(rt::TextFile& f) {
  vdd::Definition& d = vdd::def;
  FieldBuf field;
  for (int t = 1; t <= d.numDimension; ++t) {
    quoteField(d.dimensionStore.getTabName(t).view(), field);
    f.write(field.view());
    f.write(',');
  }
  f.write("\"PV\"");
  if (d.options.valueDim == 2) f.write(",\"DV\"");
  f.write('\n');
}

}  // namespace veda
