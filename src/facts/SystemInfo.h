/** Facts about the machine, each asked anew at every call. */
#pragma once

#include <cstdint>
#include <string>

namespace kestrelbay {

/** Without state; any thread may call anything at any time. Texts are UTF-8, empty where nothing is known. */
class SystemInfo {
 public:
  /** Made on first use by any thread, destroyed at unload. */
  static SystemInfo& GetInstance();
  virtual ~SystemInfo() = default;

  /** @return the machine's identity exactly as registered, without change of case or hyphens */
  std::string GetDeviceId();
  std::string GetManufacturer();
  std::string GetProductName();

  /**
   * @return the user's proxy setting as it stands, a list per protocol included; empty where it is off
   * @throws std::invalid_argument, std::out_of_range  where the switch is missing or no 32-bit number
   */
  std::string GetProxyServer();

  /** @throws std::invalid_argument, std::out_of_range  where the value is missing or no 32-bit number */
  bool IsTabletPC();

  /** @return the names of the graphics adapters in the system's order, joined by commas */
  std::string GetGraphics();

  /**
   * @param path  its first byte is taken for a drive letter and nothing else is looked at; may be null
   * @return mebibytes free to the caller on that drive, rounded down; -1 where they cannot be told
   */
  std::int64_t GetDiskAvailableSpace(const char* path);

 private:
  SystemInfo() = default;
};

/**
 * Parses a decimal number as the standard integer parse does; what follows the digits is ignored.
 * @throws std::invalid_argument without digits, std::out_of_range outside 32 bits
 */
std::int32_t ParseDecimal(const std::u16string& text);

}  // namespace kestrelbay
