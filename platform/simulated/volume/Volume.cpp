#include "simulated/volume/Volume.h"

#include <sys/stat.h>

#include <algorithm>
#include <map>
#include <new>
#include <set>
#include <vector>

#include "simulated/base/FolderEntry.h"
#include "simulated/base/WideText.h"
#include "simulated/volume/RegistryTexts.h"
#include "simulated/volume/VolumeEnvironment.h"
#include "simulated/volume/VolumeUsers.h"

namespace simulated {
namespace {

namespace fs = std::filesystem;

/** Finds the entry at a path of names, in any case. */
template <typename... Names>
std::optional<fs::path> FindEntry(const fs::path& folder, std::string_view name, Names... further) {
  const auto entry = simulated::FindEntry(folder, FromUtf8(name));
  if constexpr (sizeof...(further) == 0)
    return entry;
  else
    return entry ? FindEntry(*entry, further...) : std::nullopt;
}

/** Returns the name of the control set of the next start; empty if the hive names none. */
std::string NextControlSet(Key& system) {
  std::uint32_t set = 0;
  Key* const select = system.FindSubKey(u"Select");
  // Windows starts with the default one, and notes it as the current one then.
  for (const char16_t* const name : {u"Default", u"Current"})
    if (select && set == 0) set = NumberIn(*select, name);
  if (set == 0) return {};
  const std::string number = std::to_string(set);
  return "ControlSet" + std::string(3 - std::min<std::size_t>(3, number.size()), '0') + number;
}

bool HasControlSet(Key& system) {
  constexpr std::u16string_view kBegin = u"ControlSet";
  for (std::size_t i = 0; i < system.SubKeyCount(); ++i)
    if (SameName(system.SubKeyAt(i).Name().substr(0, kBegin.size()), kBegin)) return true;
  return false;
}

/**
 * The root of SYSTEM. A running Windows shows the control set in use a second time, as CurrentControlSet. The
 * hive does not have that key.
 */
class SystemSource : public KeySource {
 public:
  SystemSource(std::shared_ptr<Hive> hive, const Warning& damage) : hive_(std::move(hive)), damage_(damage) {}

  void Fill(Key& key, std::size_t root) override {
    hive_->Fill(key, root);
    const std::string name = NextControlSet(key);
    if (name.empty()) {
      // A hive with neither may be part of a disk that never started.
      if (HasControlSet(key)) Report("its key Select names no control set for the next start");
      return;
    }
    const auto set = hive_->Child(key, static_cast<Hive::Node>(root), FromUtf8(name));
    if (set)
      hive_->FillLater(key.CreateSubKey(u"CurrentControlSet"), *set);
    else
      Report("it has no control set for the next start (" + name + ")");
  }

 private:
  void Report(const std::string& what) const {
    if (damage_) damage_(hive_->File().string() + ": " + what + "; CurrentControlSet is left out");
  }

  const std::shared_ptr<Hive> hive_;
  const Warning damage_;
};

/** The folders of the drives by their letters. */
std::map<char16_t, fs::path> FoldersOf(const Drives& drives) {
  std::map<char16_t, fs::path> folders;
  for (char16_t letter = u'A'; letter <= u'Z'; ++letter)
    if (auto folder = drives.OnHost(std::u16string{letter, u':', u'\\'}))
      folders.emplace(letter, std::move(*folder));
  return folders;
}

/** Whether the file, after links are followed, is on the volume or on another drive. */
bool IsInside(const fs::path& file, const fs::path& volume, const Drives& drives) {
  const fs::path real = RealPath(file);
  std::map<char16_t, fs::path> tops = FoldersOf(drives);
  tops.emplace(u'\0', volume);
  return std::ranges::any_of(tops, [&](const auto& top) {
    const fs::path realTop = RealPath(top.second);
    return std::ranges::mismatch(realTop, real).in1 == realTop.end();
  });
}

/** Whether a file system is mounted at the folder, such as that of a disk image. */
bool IsMountPoint(const fs::path& folder) {
  struct stat own = {}, above = {};
  return stat(folder.c_str(), &own) == 0 && stat((folder / "..").c_str(), &above) == 0 &&
         own.st_dev != above.st_dev;
}

class Loader {
 public:
  Loader(const fs::path& volume, const VolumeOptions& options, Machine& machine, const LoadObserver& observer)
      : volume_(volume), options_(options), machine_(machine), observer_(observer) {}

  void Run(const fs::path& folder) {
    const auto fileOf = [&](const char* name) { return FindEntry(folder, name).value_or(folder / name); };
    const fs::path software = fileOf("SOFTWARE"), system = fileOf("SYSTEM");
    // A volume that was copied together from a few hives may lack DEFAULT.
    const auto services = FindEntry(folder, "DEFAULT");
    for (const fs::path& file : {software, system, services.value_or(fs::path())}) Expect(file);
    Put(u"HKEY_LOCAL_MACHINE\\SOFTWARE", Open(software));
    LoadSystem(system);
    if (services) LoadDefault(*services);
    DescribeMachine();
    LoadUsers();
    doneBytes_ = allBytes_;
    if (observer_.progress) observer_.progress(doneBytes_, allBytes_);
  }

 private:
  void Expect(const fs::path& file) {
    std::error_code failure;
    const std::uintmax_t bytes = fs::file_size(file, failure);
    if (!failure) allBytes_ += bytes;
  }
  std::shared_ptr<Hive> Open(const fs::path& file) {
    if (!IsInside(file, volume_, machine_.drives))
      throw MachineError(file.string() + ": a link out of the volume; put the file in its place");
    auto hive = OpenHive(file);
    std::error_code failure;
    doneBytes_ = std::min<std::uint64_t>(doneBytes_ + fs::file_size(file, failure), allBytes_);
    if (observer_.progress) observer_.progress(doneBytes_, allBytes_);
    return hive;
  }
  std::shared_ptr<Hive> OpenHive(const fs::path& file) try {
    return Hive::Open(file, options_.recovery, observer_);
  } catch (const std::bad_alloc&) {
    throw MachineError(file.string() + ": needs more memory than is free; close other programs");
  }
  void Damage(const fs::path& place, const std::string& what) const {
    if (observer_.damage) observer_.damage(place.string() + ": " + what);
  }
  /** @return null if the hive cannot be read, which is reported */
  std::shared_ptr<Hive> OpenOrReport(const fs::path& file) {
    try {
      return Open(file);
    } catch (const MachineError& error) {
      std::error_code failure;
      const bool isMissing = fs::symlink_status(file, failure).type() == fs::file_type::not_found;
      const Warning& report = isMissing ? observer_.warning : observer_.damage;
      if (report) report(std::string(error.what()) + "; it is left out");
      return nullptr;
    }
  }
  Key& Put(const std::u16string& path, const std::shared_ptr<Hive>& hive) {
    Key& key = machine_.registry.CreateKey(path);
    key.KeepSource(hive);
    hive->FillLater(key, hive->Root());
    machine_.volume->hives.push_back(
        {path, hive->RecoveredEntries(), hive->Loss(), ShownTime(hive->NewestChange())});
    return key;
  }
  void LoadSystem(const fs::path& file);
  void LoadDefault(const fs::path& file);
  void DescribeMachine();
  void LoadUsers();
  bool LoadUser(UserHive& user);

  const fs::path& volume_;
  const VolumeOptions& options_;
  Machine& machine_;
  const LoadObserver& observer_;
  /** Letter of the volume's drive. */
  char16_t letter_ = u'C';
  std::uint64_t doneBytes_ = 0;
  std::uint64_t allBytes_ = 0;
  /** Names of keys of HKEY_USERS that have a hive, or would have it if it could be read. */
  std::set<std::u16string, NameLess> taken_ = {u".DEFAULT", u"S-1-5-18"};
};

void Loader::LoadSystem(const fs::path& file) {
  const auto hive = OpenOrReport(file);
  if (!hive) return;
  Key& key = Put(u"HKEY_LOCAL_MACHINE\\SYSTEM", hive);
  const auto source = std::make_shared<SystemSource>(hive, observer_.damage);
  key.KeepSource(source);
  key.FillLater(*source, hive->Root());
}

// DEFAULT is the hive of the system itself and of services without a profile.
void Loader::LoadDefault(const fs::path& file) {
  const auto hive = OpenOrReport(file);
  if (!hive) return;
  Put(u"HKEY_USERS\\.DEFAULT", hive);
  hive->FillLater(machine_.registry.CreateKey(u"HKEY_USERS\\S-1-5-18"), hive->Root());
}

void Loader::DescribeMachine() {
  letter_ = SetSystemEnvironment(machine_, [this](const std::string& line) { Damage(volume_, line); });
  if (const auto other = machine_.drives.OnHost(std::u16string{letter_, u':', u'\\'}))
    throw MachineError(other->string() + ": the volume is this drive itself; remove the folder");
  machine_.drives.Mount(letter_, volume_);
  // Folders are copies, unless the image of the drive is mounted there.
  for (const auto& [letter, folder] : FoldersOf(machine_.drives))
    if (!IsMountPoint(folder)) machine_.drives.HideHostSpace(letter);
  SetWindowsFacts(machine_);
  if (machine_.volume->is32Bit) machine_.registry.HaveOneView();
  SetHardware(machine_);
}

/** @return false if the hive is left out, which is reported */
bool Loader::LoadUser(UserHive& user) {
  const bool isListed = !user.sid.empty();
  if (!isListed) user.sid = user.name;
  const std::string name = "HKEY_USERS\\" + ToUtf8(user.sid);
  const bool isPossible = user.sid.find(u'\\') == user.sid.npos && user.sid.size() <= Key::kLongestName;
  if (!isPossible) return Damage(user.file, name + " cannot be a key; it is left out"), false;
  if (!taken_.insert(user.sid).second)
    return Damage(user.file, name + " is another hive; it is left out"), false;
  const auto hive = OpenOrReport(user.file);
  if (!hive) return false;
  if (!isListed && observer_.warning)
    observer_.warning(user.file.string() + ": the volume's ProfileList has no such user; loaded as " + name);
  Put(u"HKEY_USERS\\" + user.sid, hive);
  return true;
}

void Loader::LoadUsers() {
  std::vector<UserHive> users = FindUserHives(volume_, letter_, options_.user, machine_, observer_);
  for (const UserHive& user : users) Expect(user.file);
  // A folder with the name of a SID must not take the place of that user's hive.
  std::stable_partition(users.begin(), users.end(), [](const UserHive& user) { return !user.sid.empty(); });
  std::erase_if(users, [&](UserHive& user) { return !LoadUser(user); });
  ChooseUser(users, options_.user, volume_, machine_, observer_);
}

}  // namespace

std::optional<fs::path> FindHives(const fs::path& folder) {
  return FindEntry(folder, "Windows", "System32", "config");
}

void LoadVolume(const fs::path& volume, const fs::path& folder, const VolumeOptions& options,
                Machine& machine, const LoadObserver& observer) {
  machine.volume.emplace();
  LoadObserver noting = observer;
  noting.damage = [&machine, damage = observer.damage, volume,
                   real = RealPath(volume)](const std::string& line) {
    // Without the volume's own path, which is the host's, as it was given or without links.
    std::string_view below = line;
    for (const fs::path& top : {volume, real})
      for (const std::string& begin : {(top / "").string(), top.string() + ": "})
        if (below.starts_with(begin)) below.remove_prefix(begin.size());
    // A file's name on the host can be invalid UTF-8, which JSON cannot contain.
    machine.volume->damage.push_back(ToUtf8(FromUtf8(below)));
    if (damage) damage(line);
  };
  Loader(volume, options, machine, noting).Run(folder);
}

}  // namespace simulated
