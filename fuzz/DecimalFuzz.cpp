/** Decimal numbers of the registry: the library must read them as std::stoi does. */
#include <algorithm>
#include <optional>
#include <stdexcept>
#include <string>

#include "Expect.h"
#include "facts/SystemInfo.h"
#include "simulated/base/WideText.h"

namespace {

/** @return the number, or the name of the exception */
template <class Read>
std::string Outcome(Read read) {
  try {
    return std::to_string(read());
  } catch (const std::invalid_argument&) {
    return "no number";
  } catch (const std::out_of_range&) {
    return "out of range";
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string text(data, data + size);
  fuzz::Outcome() = Outcome([&] { return kestrelbay::ParseDecimal(simulated::FromUtf8(text)); });
  // Windows also accepts digits and blanks outside ASCII.
  const bool isAscii = std::ranges::all_of(text, [](char c) { return static_cast<unsigned char>(c) < 0x80; });
  if (isAscii) {
    fuzz::Expect(fuzz::Outcome() == Outcome([&] { return std::stoi(text); }),
                 "the number is that of std::stoi");
  }
  return 0;
}
