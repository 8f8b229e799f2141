// Composes a sentence into a caller's buffer of any size. Internal: not installed.
#ifndef ZEL_FTC_DIAG_TEXT_H
#define ZEL_FTC_DIAG_TEXT_H

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>

namespace zel::diag {

/// Writes what fits, cut between characters, and counts all of it. No allocation, no locale.
class Text {
 public:
  /// A null buffer has no room.
  Text(char* buffer, std::size_t capacity)
      : buffer_(buffer), room_(buffer == nullptr || capacity == 0 ? 0 : capacity - 1) {
    if (buffer != nullptr && capacity > 0) *buffer = '\0';
  }

  Text& operator<<(std::string_view piece) {
    std::size_t fits = length_ < room_ ? std::min(piece.size(), room_ - length_) : 0;
    while (fits > 0 && fits < piece.size() && (piece[fits] & 0xC0) == 0x80) --fits;
    if (fits > 0) {
      std::memcpy(buffer_ + length_, piece.data(), fits);
      buffer_[length_ + fits] = '\0';
    }
    length_ += piece.size();
    return *this;
  }
  Text& operator<<(std::int64_t number) { return write(number); }
  Text& operator<<(std::int32_t number) { return write(number); }
  Text& operator<<(std::uint64_t number) { return write(number); }

  /// A number with so many significant digits at the most; "nan" whatever its sign.
  Text& number(double value, int digits) {
    if (std::isnan(value)) return *this << "nan";
    char text[32];
    const auto end =
        std::to_chars(text, text + sizeof text, value, std::chars_format::general, digits);
    return *this << std::string_view(text, static_cast<std::size_t>(end.ptr - text));
  }

  /// Of the whole text, what was cut included.
  std::size_t length() const { return length_; }

 private:
  template <typename Integer>
  Text& write(Integer number) {
    char text[24];
    const auto end = std::to_chars(text, text + sizeof text, number);
    return *this << std::string_view(text, static_cast<std::size_t>(end.ptr - text));
  }

  char* buffer_;
  std::size_t room_;
  std::size_t length_ = 0;
};

/// Writes a sentence in which a percent sign and a letter stand for what `put(letter)` writes.
template <typename Put>
void compose(Text& text, const char* sentence, Put put) {
  for (const char* c = sentence; *c != '\0'; ++c) {
    if (*c == '%') {
      put(*++c);
    } else {
      text << std::string_view(c, 1);
    }
  }
}

/// Significant digits that tell the two apart: six, or as many more as it takes.
inline int digitsToTellApart(double a, double b) {
  constexpr int usual = 6, all = 17;
  if (!(a < b || b < a)) return usual;
  for (int digits = usual; digits < all; ++digits) {
    char textA[32], textB[32];
    Text(textA, sizeof textA).number(a, digits);
    Text(textB, sizeof textB).number(b, digits);
    if (std::strcmp(textA, textB) != 0) return digits;
  }
  return all;
}

}  // namespace zel::diag

#endif
