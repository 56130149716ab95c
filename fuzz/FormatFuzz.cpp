/**
 * Formats of Windows' runtime: the input's first bytes make one conversion, the rest is the text it is given.
 *
 * Where both runtimes mean the same, the host's own printf tells what has to come out.
 */
#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <string>
#include <string_view>

#include "Expect.h"
#include "platform/RuntimeText.h"
#include "simulated/port/Format.h"

namespace {

constexpr int kLargest = 999;

// Takes the input apart, and is all zeros behind its end.
class Input {
 public:
  Input(const std::uint8_t* data, std::size_t size) : rest_(data, data + size) {}

  std::uint8_t Byte() {
    if (rest_.empty()) return 0;
    const auto byte = static_cast<std::uint8_t>(rest_.front());
    rest_.erase(0, 1);
    return byte;
  }
  int Number() { return Byte() | Byte() << 8 | Byte() << 16 | static_cast<int>(Byte() << 24U); }
  template <class Choices>
  auto Choose(const Choices& choices) {
    return choices[Byte() % std::size(choices)];
  }
  const std::string& Rest() const { return rest_; }

 private:
  std::string rest_;
};

struct Conversion {
  std::string format;
  std::string_view size;
  char kind;
};

Conversion MakeConversion(Input& input) {
  constexpr std::string_view kFlags[] = {"", "-", "0", "+", " ", "#", "-#", "+0", "- "};
  constexpr std::string_view kSizes[] = {"", "", "l", "h", "w", "I64", "I32", "I", "ll", "hh", "L"};
  constexpr std::string_view kKinds = "sdcSCuxXoifegpn%s";
  std::string format(input.Choose(kFlags));
  const std::uint8_t parts = input.Byte();
  if (parts & 1) format += std::to_string(input.Number() & 0x1FF);
  if (parts & 2) format += ".";
  if ((parts & 6) == 6) format += std::to_string(input.Byte());
  const std::string_view size = input.Choose(kSizes);
  const char kind = parts & 8 ? static_cast<char>(input.Byte()) : input.Choose(kKinds);
  return {"%" + format, size, kind};
}

std::string Measured(const char* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  const int bytes = platform::_vscprintf(format, arguments);
  va_end(arguments);
  if (bytes < 0) return {};
  std::string text(static_cast<std::size_t>(bytes), '\0');
  va_start(arguments, format);
  const int written = platform::vsprintf_s(text.data(), text.size() + 1, format, arguments);
  va_end(arguments);
  fuzz::Expect(written == bytes, "as much is written as was measured");
  return text;
}

std::string OfHost(const char* format, ...) {
  std::string text(4096, '\0');
  va_list arguments;
  va_start(arguments, format);
  const int bytes = std::vsnprintf(text.data(), text.size(), format, arguments);
  va_end(arguments);
  text.resize(static_cast<std::size_t>(bytes));
  return text;
}

template <class Argument>
void Check(const Conversion& conversion, Argument argument) {
  const std::string format = conversion.format + std::string(conversion.size) + conversion.kind;
  const std::string text = Measured((format + "|").c_str(), argument);
  constexpr std::string_view kSameOnHost = "sdiuxXofeg";
  const bool sameOnHost = conversion.size.empty() && kSameOnHost.find(conversion.kind) != std::string::npos;
  if (sameOnHost) fuzz::Expect(text == OfHost((format + "|").c_str(), argument), "both runtimes agree");
}

void CheckStars(Input& input) {
  const int width = input.Number();
  const int precision = input.Number();
  // Wider than this is right as well, but no more is learnt from it.
  if ((width > kLargest || width < -kLargest || precision > kLargest) && width != INT32_MIN) return;
  if (width == INT32_MIN) return static_cast<void>(Measured("%*d", width, 1));
  fuzz::Expect(Measured("%*.*d|", width, precision, 7) == OfHost("%*.*d|", width, precision, 7),
               "width and precision are taken from the arguments");
}

std::u16string Widened(const std::string& bytes) {
  std::u16string wide(bytes.size() / sizeof(char16_t), u'\0');
  if (!wide.empty()) std::memcpy(wide.data(), bytes.data(), wide.size() * sizeof(char16_t));
  return wide;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  Input input(data, size);
  if (input.Byte() % 16 == 15) {
    CheckStars(input);
    return 0;
  }
  const Conversion conversion = MakeConversion(input);
  // A text has to be there for whatever reads one, as wide or narrow as the conversion takes it.
  const bool wide =
      conversion.size == "l" || conversion.size == "w" || (conversion.kind == 'S' && conversion.size != "h");
  if (conversion.kind == 's' || conversion.kind == 'S') {
    if (wide) {
      Check(conversion, Widened(input.Rest()).c_str());
    } else {
      Check(conversion, input.Rest().c_str());
    }
  } else if (std::string_view("eEfFgGaA").find(conversion.kind) != std::string_view::npos) {
    double number = 0;
    const std::string bytes = input.Rest() + std::string(sizeof number, '\0');
    std::memcpy(&number, bytes.data(), sizeof number);
    Check(conversion, number);
  } else {
    Check(conversion, static_cast<long long>(input.Number()) << 16 | input.Byte());
  }
  return 0;
}
