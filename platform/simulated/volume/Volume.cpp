#include "simulated/volume/Volume.h"

#include <algorithm>
#include <cstring>
#include <iterator>
#include <vector>

#include "simulated/base/FolderEntry.h"
#include "simulated/base/WideText.h"
#include "simulated/volume/HiveOpener.h"

namespace simulated {
namespace {

namespace fs = std::filesystem;

/** What stands below a folder under these names, each within the one before, in whatever case. */
template <typename... Names>
std::optional<fs::path> FindEntry(const fs::path& folder, std::string_view name, Names... further) {
  const auto entry = simulated::FindEntry(folder, FromUtf8(name));
  if constexpr (sizeof...(further) == 0)
    return entry;
  else
    return entry ? FindEntry(*entry, further...) : std::nullopt;
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

bool IsTemplate(const fs::path& folder) {
  const std::u16string name = FromUtf8(folder.filename().string());
  return SameName(name, u"Default") || SameName(name, u"Default User");
}

/** The hives of all who have a profile, but not of the templates of profiles to come: Windows loads none of
 * those. */
std::vector<fs::path> FindUserHives(const fs::path& volume) {
  std::vector<fs::path> hives;
  for (const auto& profiles : {FindEntry(volume, "Users"), FindEntry(volume, "Documents and Settings"),
                               FindEntry(volume, "Windows", "ServiceProfiles")}) {
    for (const fs::path& folder : FoldersIn(profiles)) {
      const auto file = IsTemplate(folder) ? std::nullopt : FindEntry(folder, "NTUSER.DAT");
      if (file) hives.push_back(*file);
    }
  }
  return hives;
}

/**
 * The root of SYSTEM. A running Windows shows the control set in use a second time, as CurrentControlSet; the
 * hive does not hold that.
 */
class SystemSource : public KeySource {
 public:
  explicit SystemSource(std::shared_ptr<Hive> hive) : hive_(std::move(hive)) {}

  void Fill(Key& key, std::size_t root) override {
    hive_->Fill(key, root);
    Key* const select = key.FindSubKey(u"Select");
    std::string number = std::to_string(select ? NumberOf(*select, u"Current") : 0);
    number.insert(0, 3 - std::min<std::size_t>(3, number.size()), '0');
    const auto current = hive_->Child(root, "ControlSet" + number);
    if (current) hive_->FillLater(key.CreateSubKey(u"CurrentControlSet"), *current);
  }

 private:
  const std::shared_ptr<Hive> hive_;
};

class Loader {
 public:
  Loader(RegistryTree& registry, const LoadObserver& observer) : registry_(registry), observer_(observer) {}

  void LoadSoftware(const OpenedHive& software);
  void LoadSystem(const OpenedHive& system);
  void LoadDefault(const OpenedHive& services);
  void LoadUser(const OpenedHive& user);

 private:
  /** @return false for a hive that is not open, which is told */
  bool IsOpen(const OpenedHive& hive) const {
    std::error_code failure;
    const bool isMissing = !hive.hive && !fs::exists(hive.file, failure);
    const Warning& tell = isMissing ? observer_.warning : observer_.damage;
    if (!hive.hive && tell) tell(hive.error + "; it is left out");
    return hive.hive != nullptr;
  }
  void Put(std::u16string_view path, const std::shared_ptr<Hive>& hive) {
    Key& key = registry_.CreateKey(path);
    key.KeepSource(hive);
    hive->FillLater(key, hive->Root());
  }
  std::u16string SidOf(const std::u16string& folderName);

  RegistryTree& registry_;
  const LoadObserver& observer_;
  bool hasPerson_ = false;
};

void Loader::LoadSoftware(const OpenedHive& software) {
  if (!software.hive) throw MachineError(software.error);
  Put(u"HKEY_LOCAL_MACHINE\\SOFTWARE", software.hive);
}

void Loader::LoadSystem(const OpenedHive& system) {
  if (!IsOpen(system)) return;
  Key& key = registry_.CreateKey(u"HKEY_LOCAL_MACHINE\\SYSTEM");
  const auto source = std::make_shared<SystemSource>(system.hive);
  key.KeepSource(source);
  key.lastWriteTime = system.hive->TimeOf(system.hive->Root());
  key.FillLater(*source, system.hive->Root());
}

// What services without a profile see.
void Loader::LoadDefault(const OpenedHive& services) {
  if (IsOpen(services)) Put(u"HKEY_USERS\\.DEFAULT", services.hive);
}

void Loader::LoadUser(const OpenedHive& user) {
  if (!IsOpen(user)) return;
  const std::string folder = user.file.parent_path().filename().string();
  std::u16string sid = SidOf(FromUtf8(folder));
  if (sid.empty()) {
    if (observer_.warning)
      observer_.warning(user.file.string() +
                        ": the volume's ProfileList has no such user; loaded as HKEY_USERS\\" + folder);
    sid = FromUtf8(folder);
  }
  if (!hasPerson_ && sid.starts_with(u"S-1-5-21-")) {
    hasPerson_ = true;
    registry_.SetUser(sid);
  }
  Put(u"HKEY_USERS\\" + sid, user.hive);
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

void LoadVolume(const fs::path& volume, const fs::path& folder, Machine& machine,
                const LoadObserver& observer) {
  const auto fileOf = [&](const char* name) { return FindEntry(folder, name).value_or(folder / name); };
  std::vector<fs::path> files = {fileOf("SOFTWARE"), fileOf("SYSTEM")};
  // A volume made of a few hives may have none.
  if (const auto services = FindEntry(folder, "DEFAULT")) files.push_back(*services);
  const std::size_t machinesHiveCount = files.size();
  std::ranges::copy(FindUserHives(volume), std::back_inserter(files));
  const std::vector<OpenedHive> hives = OpenHives(files, observer);
  Loader loader(machine.registry, observer);
  loader.LoadSoftware(hives[0]);
  loader.LoadSystem(hives[1]);
  if (machinesHiveCount > 2) loader.LoadDefault(hives[2]);
  for (std::size_t i = machinesHiveCount; i < hives.size(); ++i) loader.LoadUser(hives[i]);
  machine.drives.Mount(u'C', volume);
}

}  // namespace simulated
