/** The data of a value in a registration file: what stands behind its =. */
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "simulated/regfile/RegFileCursor.h"
#include "simulated/regfile/RegFileSink.h"

namespace simulated {

class RegFileDataReader {
 public:
  /** @param cursor  stays the caller's */
  explicit RegFileDataReader(RegFileCursor& cursor) : cursor_(cursor) {}

  /** From now on the bytes of hex(1), hex(2) and hex(7) are narrow text, as REGEDIT4 has them. */
  void WidenText() { widensText_ = true; }

  /**
   * Tells the sink what the data make of the value of that name.
   * @throws MachineError where they are none; the sink has then been told nothing
   */
  void Read(std::u16string_view name, RegFileSink& sink);

 private:
  void ReadText(std::u16string_view name, RegFileSink& sink);
  void ReadNumber(std::u16string_view name, RegFileSink& sink);
  void ReadHex(std::u16string_view name, RegFileSink& sink);
  platform::DWORD ReadHexType();
  void ReadHexBytes();
  void ContinueLine();
  void WidenBytes();

  RegFileCursor& cursor_;
  bool widensText_ = false;
  std::u16string text_;
  std::vector<std::uint8_t> bytes_;
};

}  // namespace simulated
