/** Finds the hives of the people and services that have a profile on a volume, and chooses the current user.
 */
#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "simulated/base/LoadObserver.h"
#include "simulated/machine/Machine.h"

namespace simulated {

struct UserHive {
  std::filesystem::path file;
  /** Name of the profile's folder. */
  std::u16string name;
  /** Path of the folder in the volume's ProfileList; empty if the list does not have it. */
  std::u16string profile;
  /** SID of the folder in the volume's ProfileList; empty if the list does not have it. */
  std::u16string sid;

  /** Whether the user is a person: an account of the machine, a domain or Entra ID, and not a service. */
  bool IsPerson() const;
};

/**
 * Finds each hive once, even if several links lead to it. Hives in the usual folders come first, in the order
 * of their names, then those that only the volume's ProfileList names, then those behind links in the usual
 * folders. A link out of the volume is reported by the drives. Leaves out the profiles from which
 * Windows makes new ones. REQUIRES: SOFTWARE is in the registry, the system variables are set and the drives
 * are mounted.
 * @param root    path of the volume, for messages
 * @param letter  the volume's drive
 * @param wanted  if it is a SID, its profile is preferred to others with the same folder
 */
std::vector<UserHive> FindUserHives(const std::filesystem::path& root, char16_t letter,
                                    const std::optional<std::string>& wanted, Machine& machine,
                                    const LoadObserver& observer);

/**
 * Makes one user's hive HKEY_CURRENT_USER, and sets the user's variables. It is the user with the name or SID
 * `nameOrSid`; if that is empty, the first person. A warning names the choice if there are several people.
 * Without a person there is no current user.
 * @param nameOrSid  name of the profile's folder, or the SID
 * @param root       the volume, for messages
 * @throws MachineError if no user has the name or SID
 */
void ChooseUser(const std::vector<UserHive>& users, const std::optional<std::string>& nameOrSid,
                const std::filesystem::path& root, Machine& machine, const LoadObserver& observer);

}  // namespace simulated
