/** Writes volumes with hives of users, and opens their machines. */
#pragma once

#include <gmock/gmock.h>

#include "HiveFile.h"
#include "MachineFolder.h"

namespace simulated {

inline constexpr const char* kSystem = "Windows/System32/config/SYSTEM";
inline const std::string kCurrentVersion = "Microsoft\\Windows\\CurrentVersion";
inline const std::string kWindowsNt = "Microsoft\\Windows NT\\CurrentVersion";
inline const std::string kEnvironment = "ControlSet001\\Control\\Session Manager\\Environment";
inline constexpr int kExpandable = 2;

inline std::string Wide(std::string_view text) {
  std::string bytes;
  for (const char character : text) bytes += {character, '\0'};
  return bytes + std::string(2, '\0');
}

class VolumeMachineTest : public MachineFolder {
 protected:
  /** Writes SOFTWARE with these profiles, and SYSTEM with these values of one key each. */
  void WriteMachine(const std::map<std::string, std::string>& profiles = {},
                    const std::map<std::string, std::pair<std::string, std::string>>& system = {}) {
    HiveFile software(folder / kSoftware);
    for (const auto& [sid, image] : profiles)
      software.SetBytes(kWindowsNt + "\\ProfileList\\" + sid, "ProfileImagePath", Wide(image), kExpandable);
    HiveFile hive(folder / kSystem);
    hive.Add("ControlSet001");
    hive.SetBytes("Select", "Current", std::string_view("\1\0\0\0", 4), 4);
    for (const auto& [key, value] : system) hive.SetBytes(key, value.first, Wide(value.second), kExpandable);
  }
  void WriteUser(const std::string& path, const std::string& owner, const char* name = "NTUSER.DAT") {
    HiveFile(folder / path / name).SetText("Key", "value", owner);
  }
  std::unique_ptr<Machine> OpenAs(const std::string& user) {
    VolumeOptions options;
    options.user = user;
    return OpenMachine(folder, Changes::Discarded, {}, options);
  }
  static std::u16string OwnerOf(Machine& machine, const std::u16string& hive) {
    return TextOf(machine, hive + u"\\Key", u"value");
  }
  /** The hives of HKEY_USERS that are not empty. */
  static std::vector<std::u16string> Hives(Machine& machine) {
    std::vector<std::u16string> names;
    Key* const users = machine.registry.Find(u"HKEY_USERS");
    for (std::size_t i = 0; i < users->SubKeyCount(); ++i)
      if (users->SubKeyAt(i).SubKeyCount() > 0) names.push_back(users->SubKeyAt(i).Name());
    return names;
  }
};

}  // namespace simulated
