#include "simulated/port/Format.h"

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <string_view>

namespace simulated {
namespace {

/** No text is meant to be as wide: a width or precision beyond is a mistake, and must not exhaust memory. */
constexpr int kWidest = 1'000'000;

/** The arguments that a format takes one by one. An object of its own, since a va_list may be an array. */
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

/** One conversion of a format, such as %-8.3ws. */
struct Conversion {
  std::string flags;
  int width = 0;
  /** -1 for none. */
  int precision = -1;
  std::string size;
  char kind = 0;

  bool IsWide() const {
    if (size == "l" || size == "w") return true;
    return (kind == 'S' || kind == 'C') && size != "h";
  }
};

class Formatter {
 public:
  explicit Formatter(va_list arguments) : arguments_(arguments) {}

  std::optional<std::string> Run(std::string_view format) {
    while (!format.empty()) {
      if (format[0] != '%') {
        const auto end = std::min(format.find('%'), format.size());
        text_ += format.substr(0, end);
        format.remove_prefix(end);
      } else {
        format.remove_prefix(1);
        if (!Convert(Parse(format))) return std::nullopt;
      }
    }
    return std::move(text_);
  }

 private:
  int TakeNumber(std::string_view& format) {
    if (format.starts_with('*')) {
      format.remove_prefix(1);
      return std::clamp(arguments_.Take<int>(), -kWidest, kWidest);
    }
    int number = 0;
    while (!format.empty() && format[0] >= '0' && format[0] <= '9') {
      number = std::min(number * 10 + (format[0] - '0'), kWidest);
      format.remove_prefix(1);
    }
    return number;
  }

  static std::string TakeSize(std::string_view& format) {
    for (const std::string_view size : {"I64", "I32", "ll", "hh", "I", "l", "h", "w", "L", "j", "z", "t"}) {
      if (!format.starts_with(size)) continue;
      format.remove_prefix(size.size());
      return std::string(size);
    }
    return {};
  }

  Conversion Parse(std::string_view& format) {
    Conversion conversion;
    const auto flags = std::min(format.find_first_not_of("-+ #0"), format.size());
    conversion.flags = format.substr(0, flags);
    format.remove_prefix(flags);
    conversion.width = TakeNumber(format);
    if (conversion.width < 0) {
      conversion.flags += '-';
      conversion.width = -conversion.width;
    }
    if (format.starts_with('.')) {
      format.remove_prefix(1);
      conversion.precision = std::max(TakeNumber(format), -1);
    }
    conversion.size = TakeSize(format);
    if (!format.empty()) {
      conversion.kind = format[0];
      format.remove_prefix(1);
    }
    return conversion;
  }

  bool Convert(const Conversion& conversion) {
    switch (conversion.kind) {
      case 0:
        return true;
      case 'd':
      case 'i':
        return AddSigned(conversion);
      case 'u':
      case 'o':
      case 'x':
      case 'X':
        return AddUnsigned(conversion);
      case 'e':
      case 'E':
      case 'f':
      case 'F':
      case 'g':
      case 'G':
      case 'a':
      case 'A':
        return Add(conversion, "", conversion.kind, arguments_.Take<double>());
      case 'p':
        return AddPointer(conversion);
      case 's':
      case 'S':
        return AddText(conversion);
      case 'c':
      case 'C':
        return AddCharacter(conversion);
      case 'n':
        return false;
      default:
        text_ += conversion.kind;
        return true;  // also the second sign of %%
    }
  }

  /** Has the host's runtime convert one argument. */
  template <typename Type>
  bool Add(const Conversion& conversion, std::string_view size, char kind, Type argument) {
    std::string format = "%" + conversion.flags + "*";
    if (conversion.precision >= 0) format += "." + std::to_string(conversion.precision);
    format += std::string(size) + kind;
    const int length = std::snprintf(nullptr, 0, format.c_str(), conversion.width, argument);
    if (length < 0) return false;
    const std::size_t before = text_.size();
    text_.resize(before + static_cast<std::size_t>(length) + 1);
    std::snprintf(text_.data() + before, static_cast<std::size_t>(length) + 1, format.c_str(),
                  conversion.width, argument);
    text_.pop_back();
    return true;
  }

  /** On 64-bit Windows these are 64 bits; a long is 32, as without any size. */
  static bool Is64Bits(const std::string& size) {
    return size == "I64" || size == "ll" || size == "I" || size == "j" || size == "z" || size == "t";
  }

  bool AddSigned(const Conversion& conversion) {
    if (Is64Bits(conversion.size))
      return Add(conversion, "ll", conversion.kind, arguments_.Take<long long>());
    const int number = arguments_.Take<int>();
    if (conversion.size == "h") return Add(conversion, "", conversion.kind, int{static_cast<short>(number)});
    if (conversion.size == "hh") {
      return Add(conversion, "", conversion.kind, int{static_cast<signed char>(number)});
    }
    return Add(conversion, "", conversion.kind, number);
  }

  bool AddUnsigned(const Conversion& conversion) {
    if (Is64Bits(conversion.size)) {
      return Add(conversion, "ll", conversion.kind, arguments_.Take<unsigned long long>());
    }
    const unsigned number = arguments_.Take<unsigned>();
    if (conversion.size == "h") return Add(conversion, "", conversion.kind, number & 0xFFFF);
    if (conversion.size == "hh") return Add(conversion, "", conversion.kind, number & 0xFF);
    return Add(conversion, "", conversion.kind, number);
  }

  bool AddPointer(const Conversion& conversion) {
    Conversion whole = conversion;
    whole.precision = 16;
    const auto address = reinterpret_cast<std::uintptr_t>(arguments_.Take<void*>());
    return Add(whole, "ll", 'X', static_cast<unsigned long long>(address));
  }

  bool AddText(const Conversion& conversion) {
    if (!conversion.IsWide()) {
      const char* text = arguments_.Take<const char*>();
      return Add(conversion, "", 's', text ? text : "(null)");
    }
    const auto* wide = arguments_.Take<const char16_t*>();
    if (!wide) return Add(conversion, "", 's', "(null)");
    std::string narrow;
    // What the precision cuts off is not looked at.
    for (; *wide &&
           (conversion.precision < 0 || narrow.size() < static_cast<std::size_t>(conversion.precision));
         ++wide) {
      if (*wide > 0xFF) return false;
      narrow += static_cast<char>(*wide);
    }
    return Add(conversion, "", 's', narrow.c_str());
  }

  /** A wide character that the locale does not have leaves nothing behind, not even the width. */
  bool AddCharacter(const Conversion& conversion) {
    const int character = arguments_.Take<int>();
    if (conversion.IsWide() && (character & 0xFFFF) > 0xFF) return true;
    return Add(conversion, "", 'c', character & 0xFF);
  }

  ArgumentList arguments_;
  std::string text_;
};

}  // namespace

std::optional<std::string> Format(const char* format, va_list arguments) {
  return Formatter(arguments).Run(format);
}

}  // namespace simulated
