/** Facts about the machine, read anew at each call. */
#pragma once

#include <cstdint>
#include <string>

namespace kestrelbay {

/** Has no state; thread-safe. Texts are UTF-8, and empty if the fact is unknown. */
class SystemInfo {
 public:
  /** Created on first use, destroyed at unload. Thread-safe. */
  static SystemInfo& GetInstance();
  virtual ~SystemInfo() = default;

  /** @return the identity of the machine exactly as registered, with its case and hyphens */
  std::string GetDeviceId();
  std::string GetManufacturer();
  std::string GetProductName();

  /**
   * @return the proxy setting of the user unchanged, even a list per protocol; empty if it is off
   * @throws std::invalid_argument, std::out_of_range  if the switch is missing or no 32-bit number
   */
  std::string GetProxyServer();

  /** @throws std::invalid_argument, std::out_of_range  if the value is missing or no 32-bit number */
  bool IsTabletPC();

  /** @return the names of the graphics adapters in the order of the system, joined by commas */
  std::string GetGraphics();

  /**
   * @param path  its first byte is the drive letter, the rest is ignored; may be null
   * @return mebibytes free to the caller on that drive, rounded down; -1 on failure
   */
  std::int64_t GetDiskAvailableSpace(const char* path);

 private:
  SystemInfo() = default;
};

/**
 * Parses a decimal number as std::stoi does. Ignores the text after the digits.
 * @throws std::invalid_argument without digits, std::out_of_range outside 32 bits
 */
std::int32_t ParseDecimal(const std::u16string& text);

}  // namespace kestrelbay
