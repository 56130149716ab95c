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
  /** Of the profile's folder. */
  std::u16string name;
  /** As the volume's Windows names the folder; empty if its ProfileList does not. */
  std::u16string profile;
  /** Empty if the volume's ProfileList does not have the folder. */
  std::u16string sid;

  /** A person, with an account of the machine, a domain or Entra ID, and not a service. */
  bool IsPerson() const { return sid.starts_with(u"S-1-5-21-") || sid.starts_with(u"S-1-12-1-"); }
};

/**
 * Each hive once, also if several links lead to it: those in the usual folders in the order of their names,
 * then those that only the volume's ProfileList names. Profiles from which Windows makes new ones are left
 * out. REQUIRES: SOFTWARE is in the registry, the system variables are set and the drives are mounted.
 * @param root  the volume
 */
std::vector<UserHive> FindUserHives(const std::filesystem::path& root, Machine& machine,
                                    const LoadObserver& observer);

/**
 * Makes the hive of one user HKEY_CURRENT_USER, with the user's variables: that of the user who has the name
 * or SID; without one, that of the first person. If it chose among several people, a warning names the
 * choice. Without a person there is no current user.
 * @param nameOrSid  name of the profile's folder, or the SID
 * @param root       the volume, for messages
 * @throws MachineError if no user has the name or SID
 */
void ChooseUser(const std::vector<UserHive>& users, const std::optional<std::string>& nameOrSid,
                const std::filesystem::path& root, Machine& machine, const LoadObserver& observer);

}  // namespace simulated
