/** A captured machine in memory, before it is written. Texts are UTF-16. */
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

/** A capture that failed. what() is one line: what is wrong, where, and what to do. */
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
  /** The full path in a machine directory, where the 32-bit view is below Wow6432Node. */
  std::u16string path;
  /** FILETIME; 0 if the key was not opened. */
  std::uint64_t lastWriteTime = 0;
  /** Access for reading was denied. */
  bool isDenied = false;
  std::vector<CapturedValue> values = {};
};

struct CapturedDisk {
  std::uint64_t freeBytes = 0;
  std::uint64_t sizeBytes = 0;
};

/** An item of the apps folder. A name that it does not give is nullopt. */
struct CapturedApp {
  std::optional<std::u16string> name;
  std::optional<std::u16string> id;
};

/** A file of a drive. */
struct CapturedFile {
  std::u16string path;
  std::string bytes;
};

/** A text of the library's answers about the machine. */
struct CapturedAnswer {
  std::u16string text;
  /** The text is the path of a key. */
  bool isPath = false;
};

/** A note for a person about something that was not captured. */
struct CapturedNote {
  /** The key or path of the note; empty if it is about the machine. */
  std::u16string place;
  std::u16string what;

  std::u16string Line() const { return place.empty() ? what : place + u": " + what; }
};

struct CapturedMachine {
  /** In the order in which the machine lists them; subkeys follow their key. */
  std::vector<CapturedKey> keys;
  std::u16string userSid;
  /** The account that captures, as DOMAIN\name; empty if unknown. */
  std::u16string account;
  /** The session in which it captures: 0 for services; nullopt on a simulated machine. */
  std::optional<std::uint32_t> session;
  /** Names as the machine spells them. */
  std::vector<std::pair<std::u16string, std::u16string>> environment;
  std::u16string hostPath;
  std::u16string currentDirectory;
  std::map<char, CapturedDisk> disks;
  /** nullopt for an adapter without a description. */
  std::vector<std::optional<std::u16string>> graphicsAdapters;
  /** Whether the shell has an apps folder. */
  bool hasAppsFolder = false;
  /** nullopt means that the enumeration failed there. */
  std::vector<std::optional<CapturedApp>> apps;
  std::vector<CapturedFile> files;
  std::vector<CapturedAnswer> answers;
  std::vector<CapturedNote> notes;

  /** Returns the variable of that name in any case; empty if it is not set. */
  std::u16string Variable(std::u16string_view name) const;
};

}  // namespace capture
