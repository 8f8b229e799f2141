// Text as programs, analysis and Python write and read it. Internal: not installed.
#ifndef ZEL_FTC_TOOL_PLAINTEXT_H
#define ZEL_FTC_TOOL_PLAINTEXT_H

#include <charconv>
#include <cstddef>
#include <sstream>
#include <string>
#include <string_view>
#include <system_error>

namespace zel {

/// The text that a flat function composes from a record, of any length. A null record is the last
/// one where the function has such.
template <typename Record>
std::string composed(std::size_t (*compose)(const Record*, char*, std::size_t),
                     const Record* record) {
  std::string text(compose(record, nullptr, 0), '\0');
  compose(record, text.data(), text.size() + 1);
  return text;
}

/// The text in lines of at most `width` columns, where words allow it; every line but the first
/// begins with `indent` spaces, the first is taken to begin in column `start`.
inline std::string wrapped(const std::string& text, std::size_t indent, std::size_t start,
                           std::size_t width = 80) {
  std::string result;
  std::size_t column = start;
  std::istringstream words(text);
  bool first = true;
  for (std::string word; words >> word; column += word.size()) {
    if (!first && column + 1 + word.size() > width) {
      result += '\n' + std::string(indent, ' ');
      column = indent;
    } else if (!first) {
      result += ' ';
      ++column;
    }
    first = false;
    result += word;
  }
  return result;
}
inline std::string wrapped(const std::string& text, std::size_t indent) {
  return wrapped(text, indent, indent);
}

/// The number that all of the text is; a plus sign may lead. No locale.
inline bool readNumber(std::string_view text, double& value) {
  const char* const last = text.data() + text.size();
  const auto [end, error] =
      std::from_chars(text.data() + (text.starts_with('+') ? 1 : 0), last, value);
  return error == std::errc() && end == last;
}

}  // namespace zel

#endif
