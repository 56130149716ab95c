/* The types of KestrelbayGeneral.hpp, which includes this file: what a host passes and receives. */
#ifndef KESTRELBAY_GENERAL_TYPES_HPP
#define KESTRELBAY_GENERAL_TYPES_HPP

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

namespace kestrelbay::host {

/** An installed application. A text that the registry lacks is empty. */
struct App {
  std::string name;
  std::string version;
  std::string location;
  std::string installDate;
  std::string iconSource;
  std::string iconText;                                         /**< as InstalledAppEntry::iconText */
  std::optional<std::chrono::system_clock::time_point> changed; /**< last write of the entry, if known */
  int architecture = 0;                                         /**< 0 unknown, 1 32-bit, 2 64-bit */
};

/** The parameters of an installation. */
struct InstallOrder {
  std::string installer;       /**< path of an executable, without quotes */
  std::string name;            /**< name that the application is listed under */
  std::string parameters = {}; /**< command-line parameters of the installer */
};

/** How an installation or an uninstallation ended. */
struct Outcome {
  bool isSuccess = false;
  std::string result; /**< "Success", "Fail" or "Cancel" */
  std::string message;
  std::string version; /**< of the application, after an installation */
};

struct LogRecord {
  std::string file;
  std::int32_t level; /**< 3 information, 5 error */
  std::string text;
};

/** A short text that is overwritten with zeros when it is destroyed. Can be moved, not copied. */
class Secret {
 public:
  explicit Secret(std::string_view text) : size(text.size()), bytes(new char[size + 1]()) {
    text.copy(bytes.get(), size);  // unlike memcpy, also for a text of null
  }
  Secret(Secret&& other) noexcept : size(std::exchange(other.size, 0)), bytes(std::move(other.bytes)) {}
  Secret& operator=(Secret&& other) noexcept {
    std::swap(size, other.size);
    std::swap(bytes, other.bytes);
    return *this;
  }
  ~Secret() { Wipe(bytes.get(), size); }

  /** Borrowed: valid until the secret is moved or destroyed. */
  std::string_view View() const& { return {bytes ? bytes.get() : "", size}; }
  std::string_view View() && = delete;

  static void Wipe(char* text, std::size_t size) {
    // A compiler may not leave out writes to volatile memory.
    for (volatile char* byte = text; size > 0; --size) *byte++ = 0;
  }

 private:
  std::size_t size;
  std::unique_ptr<char[]> bytes;
};

}  // namespace kestrelbay::host

#endif
