#include "veda/field_builder.h"

namespace veda {

void joinTuple(const LabelTable& uels, const int32_t* labels, int count, JoinStyle style,
               FieldBuf& out) {
  out.clear();
  out.append('"');
  bool written = false;
  for (int p = 0; p < count; ++p) {
    std::string_view label = uels.get(labels[p]);
    if (p > 0 && (style.showAll || (written && !label.empty()))) out.append(style.separator);
    if (!label.empty()) {
      out.append(label);
      written = true;
    }
  }
  out.append('"');
}

void joinAllSeparators(const LabelTable& uels, const int32_t* labels, int count,
                       std::string_view separator, FieldBuf& out) {
  out.clear();
  out.append('"');
  for (int p = 0; p < count; ++p) {
    if (p > 0) out.append(separator);
    out.append(uels.get(labels[p]));
  }
  out.append('"');
}

void quoteField(std::string_view text, FieldBuf& out) {
  out.clear();
  out.append('"');
  out.append(text);
  out.append('"');
}

}  // namespace veda
