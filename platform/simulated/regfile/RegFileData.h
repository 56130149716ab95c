/** Reads the data of a value in a registration file, behind the = sign. */
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
  /** @param cursor  borrowed */
  explicit RegFileDataReader(RegFileCursor& cursor) : cursor_(cursor) {}

  /** From now on the bytes of hex(1), hex(2) and hex(7) are narrow text, as in REGEDIT4 files. */
  void WidenText() { widensText_ = true; }

  /**
   * Reads the data here and sets or deletes the value of that name in the sink.
   * @throws MachineError for invalid data, before any call of the sink
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
