#include "simulated/volume/VolumeUsers.h"

#include <algorithm>
#include <map>
#include <set>

#include "simulated/base/FolderEntry.h"
#include "simulated/base/MachineError.h"
#include "simulated/base/WideText.h"
#include "simulated/volume/RegistryTexts.h"
#include "simulated/volume/VolumeEnvironment.h"

namespace simulated {
namespace {

namespace fs = std::filesystem;

constexpr std::u16string_view kBackup = u".bak";

/** One key of the volume's ProfileList. */
struct ListedProfile {
  std::u16string sid;
  std::u16string path;
  bool isTemporary = false;
};

/** By their SIDs. */
using Profiles = std::map<std::u16string, ListedProfile, NameLess>;

std::u16string_view LastName(std::u16string_view path) { return path.substr(path.rfind(u'\\') + 1); }

/** Returns the path of a listed profile without trailing backslashes. */
std::u16string PathOf(const Machine& machine, Key& profile) {
  std::u16string path = Expand(machine, TextIn(profile, u"ProfileImagePath")).value_or(u"");
  while (path.ends_with(u'\\')) path.pop_back();
  return path;
}

ListedProfile ReadListed(const Machine& machine, Key& profile) {
  constexpr std::uint32_t kTemporary = 0x800;
  std::u16string path = PathOf(machine, profile);
  const std::u16string_view name = LastName(path);
  const bool isNamedSo = SameName(name, u"TEMP") || SameName(name.substr(0, 5), u"TEMP.");
  return {profile.Name(), std::move(path), isNamedSo || (NumberIn(profile, u"State") & kTemporary) != 0};
}

/**
 * Returns the profiles by their SIDs. If Windows cannot load a profile, it keeps the profile's key as SID.bak
 * and uses a temporary profile. At the next logon it tries SID.bak again.
 */
Profiles ReadProfileList(Machine& machine) {
  constexpr std::u16string_view kLocalSystem = u"S-1-5-18";
  Profiles profiles, kept;
  Key* const list = machine.registry.Find(
      u"HKEY_LOCAL_MACHINE\\SOFTWARE\\Microsoft\\Windows NT\\CurrentVersion\\ProfileList");
  for (std::size_t i = 0; list && i < list->SubKeyCount(); ++i) {
    ListedProfile profile = ReadListed(machine, list->SubKeyAt(i));
    // The hive of LocalSystem is DEFAULT.
    if (profile.path.empty() || SameName(profile.sid, kLocalSystem)) continue;
    const std::size_t length = profile.sid.size();
    const bool isKept =
        length > kBackup.size() && SameName(profile.sid.substr(length - kBackup.size()), kBackup);
    if (isKept) profile.sid.resize(length - kBackup.size());
    (isKept ? kept : profiles).insert_or_assign(profile.sid, profile);
  }
  for (const auto& [sid, profile] : kept) {
    const auto other = profiles.find(sid);
    if (other == profiles.end() || other->second.isTemporary) profiles.insert_or_assign(sid, profile);
  }
  return profiles;
}

constexpr const char16_t* kOldUsers = u"\\Documents and Settings\\";

bool IsTemplate(std::u16string_view name) {
  return SameName(name, u"Default") || SameName(name, u"Default User");
}

class Finder {
 public:
  Finder(const fs::path& root, char16_t letter, const std::optional<std::string>& wanted, Machine& machine,
         const LoadObserver& observer)
      : root_(RealPath(root)),
        drive_{letter, u':'},
        wanted_(FromUtf8(wanted.value_or(""))),
        machine_(machine),
        observer_(observer) {}

  std::vector<UserHive> Run() {
    ReadList();
    for (const char16_t* const place : {u"\\Users\\", kOldUsers, u"\\Windows\\ServiceProfiles\\"})
      for (const fs::path& folder : FoldersIn(drive_ + place)) Add(folder);
    for (const auto& [folder, profile] : listed_) Add(folder);
    for (const fs::path& folder : links_) Add(folder);
    return std::move(hives_);
  }

 private:
  void ReadList() {
    constexpr std::size_t kLongestPath = 260;
    for (const auto& [sid, profile] : ReadProfileList(machine_)) {
      if (profile.path.size() > kLongestPath) {
        Report(observer_.damage, root_,
               "the profile path of " + ToUtf8(sid) + " is longer than Windows allows; it is left out");
        continue;
      }
      const auto folder = OnHost(profile.path);
      if (folder) {
        List(RealPath(*folder), profile);
      } else if (IsOnOtherDrive(profile.path)) {
        Report(observer_.warning, root_,
               "the profile " + ToUtf8(profile.path) + " of " + ToUtf8(sid) +
                   " is on another drive; add its files as drives/" + ToUtf8(profile.path.substr(0, 1)));
      }
    }
  }

  /** Finds a folder on the host. A link out of the volume is damage, because hives may be behind it. */
  std::optional<fs::path> OnHost(const std::u16string& path) const {
    machine_.drives.SetWarning(observer_.damage);
    auto folder = machine_.drives.OnHost(path);
    machine_.drives.SetWarning(observer_.warning);
    return folder;
  }

  /** A hive can be one key only. The first SID of a folder has it, unless another one is wanted. */
  void List(const fs::path& folder, ListedProfile profile) {
    const auto [listed, isNew] = listed_.emplace(folder, profile);
    if (isNew) return;
    if (SameName(profile.sid, wanted_)) std::swap(listed->second, profile);
    Report(observer_.warning, folder,
           "the folder of two users; it is read as " + ToUtf8(listed->second.sid) + "'s, choose " +
               ToUtf8(profile.sid) + " with --user");
  }

  bool IsOnOtherDrive(const std::u16string& path) const {
    return path.size() > 2 && path[1] == u':' && !SameName(path.substr(0, 2), drive_);
  }

  static void Report(const Warning& report, const fs::path& place, const std::string& what) {
    if (report) report(place.string() + ": " + what);
  }

  void ReportUnreadable(const fs::path& folder, const std::error_code& failure) {
    const bool isMissing =
        failure == std::errc::no_such_file_or_directory || failure == std::errc::not_a_directory;
    if (!failure || isMissing) return;
    Report(observer_.damage, folder,
           "cannot be read (" + failure.message() + "); make it readable; its hives are left out");
  }

  /** Keeps a link to a folder for the end, because most such folders are found by their own names. */
  void KeepLink(const std::u16string& place, std::u16string_view name) {
    // Windows makes links with these names itself.
    if (IsTemplate(name) || SameName(name, u"All Users")) return;
    if (auto folder = OnHost(place + std::u16string(name))) links_.insert(std::move(*folder));
  }

  /** @param place  ends in a backslash */
  std::vector<fs::path> FoldersIn(const std::u16string& place) {
    std::vector<fs::path> folders;
    // Since Vista, Windows itself makes the old folder as a link. Some drivers show its target as a path of
    // the host.
    const auto folder = place.ends_with(kOldUsers) ? machine_.drives.OnHost(place) : OnHost(place);
    std::error_code failure;
    if (!folder) return folders;
    for (fs::directory_iterator entry(*folder, failure), end; !failure && entry != end;
         entry.increment(failure)) {
      std::error_code ignored;
      if (entry->is_symlink(ignored))
        KeepLink(place, FromUtf8(entry->path().filename().string()));
      else if (entry->is_directory(ignored))
        folders.push_back(entry->path());
    }
    ReportUnreadable(*folder, failure);
    std::ranges::sort(folders);
    return folders;
  }

  void Add(const fs::path& folder) {
    const fs::path real = RealPath(folder);
    const bool isTemplate = IsTemplate(FromUtf8(real.filename().string()));
    if (isTemplate || !visited_.insert(real).second) return;
    std::error_code failure;
    const fs::directory_iterator entries(folder, failure);
    ReportUnreadable(folder, failure);
    // Windows loads a mandatory profile's hive instead of the other.
    auto file = FindEntry(folder, u"NTUSER.MAN");
    if (!file) file = FindEntry(folder, u"NTUSER.DAT");
    if (!file) return;
    if (!found_.insert(RealPath(*file)).second) return;
    const auto profile = listed_.find(real);
    UserHive hive{*file, FromUtf8(folder.filename().string()), {}, {}};
    if (profile != listed_.end()) {
      hive.profile = profile->second.path;
      hive.sid = profile->second.sid;
    }
    hives_.push_back(std::move(hive));
  }

  const fs::path root_;
  const std::u16string drive_;
  const std::u16string wanted_;
  Machine& machine_;
  const LoadObserver& observer_;
  /** The listed profiles by their real folders. */
  std::map<fs::path, ListedProfile> listed_;
  std::set<fs::path> links_;
  /** Real paths of the folders. */
  std::set<fs::path> visited_;
  /** Real paths of the hives. */
  std::set<fs::path> found_;
  std::vector<UserHive> hives_;
};

const UserHive& UserNamed(const std::string& nameOrSid, const std::vector<UserHive>& users,
                          const fs::path& root) {
  const std::u16string wanted = FromUtf8(nameOrSid);
  std::string names;
  for (const UserHive& user : users) {
    if (SameName(user.sid, wanted) || SameName(user.name, wanted)) return user;
    names += (names.empty() ? "" : ", ") + ToUtf8(user.name);
  }
  throw MachineError(root.string() + ": no user " + nameOrSid +
                     (names.empty() ? "; the volume has no user's hive" : "; the volume has " + names));
}

/** Reports which of several people it is. */
void ReportPerson(const UserHive& user, const std::vector<UserHive>& users, const fs::path& root,
                  const LoadObserver& observer) {
  const auto people = std::ranges::count_if(users, &UserHive::IsPerson);
  if (people < 2 || !observer.warning) return;
  observer.warning(root.string() + ": " + std::to_string(people) +
                   " people used the machine; HKEY_CURRENT_USER is " + ToUtf8(user.name) + "'s (" +
                   ToUtf8(user.sid) + "), choose another with --user");
}

}  // namespace

bool UserHive::IsPerson() const {
  const auto begins = [this](std::u16string_view with) { return SameName(sid.substr(0, with.size()), with); };
  return begins(u"S-1-5-21-") || begins(u"S-1-12-1-");
}

std::vector<UserHive> FindUserHives(const fs::path& root, char16_t letter,
                                    const std::optional<std::string>& wanted, Machine& machine,
                                    const LoadObserver& observer) {
  return Finder(root, letter, wanted, machine, observer).Run();
}

void ChooseUser(const std::vector<UserHive>& users, const std::optional<std::string>& nameOrSid,
                const fs::path& root, Machine& machine, const LoadObserver& observer) {
  const auto person = std::ranges::find_if(users, &UserHive::IsPerson);
  if (!nameOrSid && person == users.end()) return;
  const UserHive& user = nameOrSid ? UserNamed(*nameOrSid, users, root) : *person;
  machine.registry.SetUser(user.sid);
  SetUserEnvironment(machine, user.profile.empty() ? user.name : user.profile, [&](const std::string& line) {
    if (observer.damage) observer.damage(root.string() + ": " + line);
  });
  if (!nameOrSid) ReportPerson(user, users, root, observer);
}

}  // namespace simulated
