/** Finds the hives of the people and services that have a profile on a volume. */
#pragma once

#include <filesystem>
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
 * @param root  the volume; the volume, for messages
 */
std::vector<UserHive> FindUserHives(const std::filesystem::path& root, Machine& machine,
                                    const LoadObserver& observer);

}  // namespace simulated
