// Building the quoted tuple fields of the VEDA files into a bounded buffer.
//
// A field is a double quote, the labels of a tuple joined by the tuple
// separator, and a double quote, cut at 255 bytes as a whole: a field that
// would be longer loses its tail, closing quote included.
//
// Join rules:
//  - data and element-text files (joinTuple): place 1 gives its label; every
//    later place gives, with ShowAllSeparators, the separator and then its
//    label; without it, the separator only when something was written before
//    and the label is not empty, then the label.
//  - subset file (joinAllSeparators): the separator between every two places,
//    whether the places are empty or not.
// A label number outside the label table (0 included) is an empty label.
#pragma once

#include <cstdint>
#include <cstring>
#include <string_view>

#include "veda/label_table.h"

namespace veda {

class FieldBuf {
 public:
  static constexpr int kMax = 255;
  void clear() { len_ = 0; }
  void append(std::string_view s) {
    size_t room = static_cast<size_t>(kMax - len_);
    size_t n = s.size() < room ? s.size() : room;
    if (n == 0) return;
    std::memcpy(buf_ + len_, s.data(), n);
    len_ += static_cast<int>(n);
  }
  void append(char c) {
    if (len_ < kMax) buf_[len_++] = c;
  }
  void assign(std::string_view s) {
    len_ = 0;
    append(s);
  }
  std::string_view view() const { return std::string_view(buf_, static_cast<size_t>(len_)); }
  int length() const { return len_; }

 private:
  int len_ = 0;
  char buf_[kMax + 1];
};

struct JoinStyle {
  std::string_view separator;
  bool showAll = false;
};

// The quoted field of labels[0..count-1] joined by the data-file rules.
void joinTuple(const LabelTable& uels, const int32_t* labels, int count, JoinStyle style,
               FieldBuf& out);

// The quoted field of labels[0..count-1] with a separator between every two.
void joinAllSeparators(const LabelTable& uels, const int32_t* labels, int count,
                       std::string_view separator, FieldBuf& out);

// A text in double quotes, cut at 255 bytes as a whole.
void quoteField(std::string_view text, FieldBuf& out);

}  // namespace veda
