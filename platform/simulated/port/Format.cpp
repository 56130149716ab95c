#include "simulated/port/Format.h"

#include <algorithm>
#include <string_view>

namespace simulated {
namespace {

/** The arguments of a format, taken one by one. A class, because a va_list may be an array. */
class ArgumentList {
 public:
  explicit ArgumentList(va_list arguments) { va_copy(arguments_, arguments); }
  ~ArgumentList() { va_end(arguments_); }
  ArgumentList(const ArgumentList&) = delete;
  ArgumentList& operator=(const ArgumentList&) = delete;

  template <typename Type>
  Type Take() {
    return va_arg(arguments_, Type);
  }

 private:
  va_list arguments_;
};

/** @return false for a character that one byte of the "C" locale cannot hold */
bool AppendWide(const char16_t* wide, std::string& text) {
  if (!wide) wide = u"(null)";
  for (; *wide; ++wide) {
    if (*wide > 0xFF) return false;
    text += static_cast<char>(*wide);
  }
  return true;
}

/** Takes one conversion off `format`, behind its %. @return false if it fails */
bool Convert(std::string_view& format, ArgumentList& arguments, std::string& text) {
  const auto take = [&format](std::string_view kind) {
    if (!format.starts_with(kind)) return false;
    format.remove_prefix(kind.size());
    return true;
  };
  if (take("ws")) return AppendWide(arguments.Take<const char16_t*>(), text);
  if (take("s")) {
    const char* const narrow = arguments.Take<const char*>();
    text += narrow ? narrow : "(null)";
    return true;
  }
  if (take("d")) {
    text += std::to_string(arguments.Take<int>());
    return true;
  }
  if (!take("%")) return false;
  text += '%';
  return true;
}

}  // namespace

std::optional<std::string> Format(const char* format, va_list arguments) {
  ArgumentList list(arguments);
  std::string text;
  for (std::string_view rest = format; !rest.empty();) {
    const std::size_t plain = std::min(rest.find('%'), rest.size());
    text += rest.substr(0, plain);
    rest.remove_prefix(plain);
    if (rest.empty()) break;
    rest.remove_prefix(1);
    if (!Convert(rest, list, text)) return std::nullopt;
  }
  return text;
}

}  // namespace simulated
