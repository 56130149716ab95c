/** What a capture holds of a machine, before it is written. Texts are UTF-16 as Windows has them. */
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace capture {

/** Why there is no capture: what() is one line that says what is wrong and what to do. */
class CaptureError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

struct CapturedValue {
  std::u16string name;
  std::uint32_t type = 0;
  std::vector<std::uint8_t> bytes;
};

struct CapturedKey {
  /** Whole, as a machine directory stores it: what the 32-bit view shows stands below Wow6432Node. */
  std::u16string path;
  /** FILETIME; 0 where the key was not looked into. */
  std::uint64_t lastWriteTime = 0;
  /** It could not be opened for reading. */
  bool isDenied = false;
  std::vector<CapturedValue> values = {};
};

struct CapturedDisk {
  std::uint64_t freeBytes = 0;
  std::uint64_t sizeBytes = 0;
};

/** An item of the apps folder; what it does not tell is empty. */
struct CapturedApp {
  std::optional<std::u16string> name;
  std::optional<std::u16string> id;
};

/** A file of a drive. */
struct CapturedFile {
  std::u16string path;
  std::string bytes;
};

/** What is not captured as it is, for a person. */
struct CapturedNote {
  /** The key or the path that it is about; empty where it is about the machine. */
  std::u16string place;
  std::u16string what;

  std::u16string Line() const { return place.empty() ? what : place + u": " + what; }
  bool operator==(const CapturedNote&) const = default;
};

struct CapturedMachine {
  /** In the machine's own order: sub keys as it lists them, each behind its key. */
  std::vector<CapturedKey> keys;
  std::u16string userSid;
  /** Names as the machine spells them. */
  std::vector<std::pair<std::u16string, std::u16string>> environment;
  std::u16string hostPath;
  std::u16string currentDirectory;
  std::map<char, CapturedDisk> disks;
  /** Nothing for one that does not describe itself. */
  std::vector<std::optional<std::u16string>> graphicsAdapters;
  /** Whether the shell knows the apps folder. */
  bool hasAppsFolder = false;
  /** Where nothing stands for an item, the enumeration failed. */
  std::vector<std::optional<CapturedApp>> apps;
  std::vector<CapturedFile> files;
  std::vector<CapturedNote> notes;

  /** The variable of that name, whatever its case; empty where there is none. */
  std::u16string Variable(std::u16string_view name) const;
};

}  // namespace capture
