#include "simulated/Volume.h"

#include <algorithm>
#include <cstring>
#include <functional>
#include <future>
#include <vector>

#include "simulated/Hive.h"
#include "simulated/WideText.h"

namespace simulated {
namespace {

namespace fs = std::filesystem;

/** The entry of that name in whatever case; the exact one where there are several. */
std::optional<fs::path> FindEntry(const fs::path& folder, std::string_view name) {
  std::error_code failure;
  if (fs::exists(folder / name, failure)) return folder / name;
  const std::u16string wanted = FromUtf8(name);
  for (const fs::directory_entry& entry : fs::directory_iterator(folder, failure))
    if (SameName(FromUtf8(entry.path().filename().string()), wanted)) return entry.path();
  return {};
}

template <typename... Names>
std::optional<fs::path> FindEntry(const fs::path& folder, std::string_view name, Names... further) {
  const auto inside = FindEntry(folder, name);
  return inside ? FindEntry(*inside, further...) : std::nullopt;
}

std::vector<fs::path> FoldersIn(const std::optional<fs::path>& folder) {
  std::vector<fs::path> folders;
  std::error_code failure;
  if (!folder) return folders;
  for (const fs::directory_entry& entry : fs::directory_iterator(*folder, failure))
    // Links are the compatibility names of a profile, which would bring it in twice.
    if (entry.is_directory(failure) && !entry.is_symlink(failure)) folders.push_back(entry.path());
  std::ranges::sort(folders);
  return folders;
}

/** The characters of a text value, up to its NUL. */
std::u16string TextOf(Key& key, std::u16string_view name) {
  ValueView value;
  if (!key.FindValue(name, value)) return {};
  std::u16string text(value.bytes.size() / 2, u'\0');
  std::memcpy(text.data(), value.bytes.data(), text.size() * 2);
  return text.substr(0, text.find(u'\0'));
}

std::uint32_t NumberOf(Key& key, std::u16string_view name) {
  ValueView value;
  std::uint32_t number = 0;
  if (key.FindValue(name, value) && value.bytes.size() == sizeof number)
    std::memcpy(&number, value.bytes.data(), sizeof number);
  return number;
}

/** A user's hive, opened or not. */
struct UserHive {
  fs::path file;
  std::shared_ptr<Hive> hive;
  /** Why it is not open. */
  std::string error;
};

bool IsTemplate(const fs::path& folder) {
  const std::u16string name = FromUtf8(folder.filename().string());
  return SameName(name, u"Default") || SameName(name, u"Default User");
}

/** The hives of all who have a profile, but not of the templates of profiles to come: Windows loads none of
 * those. */
std::vector<UserHive> OpenUserHives(const fs::path& volume, const LoadObserver& observer) {
  std::vector<UserHive> hives;
  for (const auto& profiles : {FindEntry(volume, "Users"), FindEntry(volume, "Documents and Settings"),
                               FindEntry(volume, "Windows", "ServiceProfiles")}) {
    for (const fs::path& folder : FoldersIn(profiles)) {
      const auto file = IsTemplate(folder) ? std::nullopt : FindEntry(folder, "NTUSER.DAT");
      if (!file) continue;
      UserHive& user = hives.emplace_back(UserHive{*file, nullptr, {}});
      try {
        user.hive = Hive::Open(*file, observer.warning);
      } catch (const MachineError& error) {
        user.error = error.what();
      }
    }
  }
  return hives;
}

class Loader {
 public:
  Loader(const fs::path& hives, RegistryTree& registry, const LoadObserver& observer)
      : hives_(hives), registry_(registry), observer_(observer) {}

  void LoadSoftware();
  void LoadSystem();
  void LoadDefault();
  void LoadUser(const UserHive& user);

 private:
  void Warn(const std::string& line) const {
    if (observer_.warning) observer_.warning(line);
  }
  void WarnOfMissing(const std::string& error) const { Warn(error + "; it is left out"); }
  std::shared_ptr<Hive> OpenOrWarn(const fs::path& file) const;
  fs::path HiveFile(std::string_view name) const { return FindEntry(hives_, name).value_or(hives_ / name); }
  void Put(std::u16string_view path, Hive& hive) { hive.FillLater(registry_.CreateKey(path), hive.Root()); }
  std::u16string SidOf(const std::u16string& folderName);

  const fs::path& hives_;
  RegistryTree& registry_;
  const LoadObserver& observer_;
  bool hasPerson_ = false;
};

std::shared_ptr<Hive> Loader::OpenOrWarn(const fs::path& file) const {
  try {
    return Hive::Open(file, observer_.warning);
  } catch (const MachineError& error) {
    WarnOfMissing(error.what());
    return nullptr;
  }
}

void Loader::LoadSoftware() {
  Put(u"HKEY_LOCAL_MACHINE\\SOFTWARE", *Hive::Open(HiveFile("SOFTWARE"), observer_.warning));
}

// A running Windows shows the control set in use a second time, as CurrentControlSet; the hive does not hold
// that.
void Loader::LoadSystem() {
  const auto system = OpenOrWarn(HiveFile("SYSTEM"));
  if (!system) return;
  Key& key = registry_.CreateKey(u"HKEY_LOCAL_MACHINE\\SYSTEM");
  key.lastWriteTime = system->TimeOf(system->Root());
  key.FillLater([system](Key& empty) {
    system->Fill(empty, system->Root());
    Key* const select = empty.FindSubKey(u"Select");
    std::string number = std::to_string(select ? NumberOf(*select, u"Current") : 0);
    number.insert(0, 3 - std::min<std::size_t>(3, number.size()), '0');
    const auto current = system->Child(system->Root(), "ControlSet" + number);
    if (current) system->FillLater(empty.CreateSubKey(u"CurrentControlSet"), *current);
  });
}

// What services without a profile see; a volume made of a few hives may have none.
void Loader::LoadDefault() {
  const auto file = FindEntry(hives_, "DEFAULT");
  const auto hive = file ? OpenOrWarn(*file) : nullptr;
  if (hive) Put(u"HKEY_USERS\\.DEFAULT", *hive);
}

void Loader::LoadUser(const UserHive& user) {
  if (!user.hive) return WarnOfMissing(user.error);
  const std::string folder = user.file.parent_path().filename().string();
  std::u16string sid = SidOf(FromUtf8(folder));
  if (sid.empty()) {
    Warn(user.file.string() + ": the volume's ProfileList has no such user; loaded as HKEY_USERS\\" + folder);
    sid = FromUtf8(folder);
  }
  if (!hasPerson_ && sid.starts_with(u"S-1-5-21-")) {
    hasPerson_ = true;
    registry_.SetUser(sid);
  }
  Put(u"HKEY_USERS\\" + sid, *user.hive);
}

std::u16string Loader::SidOf(const std::u16string& folderName) {
  Key* const profiles =
      registry_.Find(u"HKEY_LOCAL_MACHINE\\SOFTWARE\\Microsoft\\Windows NT\\CurrentVersion\\ProfileList");
  for (std::size_t i = 0; profiles && i < profiles->SubKeyCount(); ++i) {
    Key& profile = profiles->SubKeyAt(i);
    const std::u16string path = TextOf(profile, u"ProfileImagePath");
    if (SameName(std::u16string_view(path).substr(path.rfind(u'\\') + 1), folderName)) return profile.Name();
  }
  return {};
}

}  // namespace

std::optional<fs::path> FindHives(const fs::path& folder) {
  const auto software = FindEntry(folder, "Windows", "System32", "config", "SOFTWARE");
  return software ? std::optional(software->parent_path()) : std::nullopt;
}

void LoadVolume(const fs::path& volume, const fs::path& hives, Machine& machine,
                const LoadObserver& observer) {
  // The users' hives take about as long as SOFTWARE, and nobody needs them before it is there.
  auto users = std::async(std::launch::async, OpenUserHives, std::cref(volume), std::cref(observer));
  Loader loader(hives, machine.registry, observer);
  loader.LoadSoftware();
  loader.LoadSystem();
  loader.LoadDefault();
  for (const UserHive& user : users.get()) loader.LoadUser(user);
  machine.drives.Mount(u'C', volume);
}

}  // namespace simulated
