#include "simulated/Volume.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstring>
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

/** A hive, opened or not. */
struct OpenedHive {
  fs::path file;
  std::shared_ptr<Hive> hive;
  /** Why it is not open. */
  std::string error;
};

/** Opens hives on threads of its own. */
class HiveOpener {
 public:
  using Hives = std::vector<OpenedHive>;

  explicit HiveOpener(const LoadObserver& observer) : observer_(observer) {}

  std::future<Hives> Start(std::vector<fs::path> files) {
    for (const fs::path& file : files) allBytes_ += 2 * SizeOf(file);  // as Hive::Open counts
    return std::async(std::launch::async, [this, files = std::move(files)] {
      Hives hives;
      for (const fs::path& file : files) hives.push_back(Open(file));
      return hives;
    });
  }

  /** Tells meanwhile how far all are. */
  Hives Wait(std::future<Hives>& opened) {
    constexpr std::chrono::milliseconds kBetweenLooks(50);
    while (opened.wait_for(kBetweenLooks) != std::future_status::ready) TellProgress();
    TellProgress();
    return opened.get();
  }

 private:
  static std::uint64_t SizeOf(const fs::path& file) {
    std::error_code failure;
    const std::uintmax_t bytes = fs::file_size(file, failure);
    return failure ? 0 : bytes;
  }

  void TellProgress() {
    // A file may have grown meanwhile.
    if (observer_.progress) observer_.progress(std::min(doneBytes_.load(), allBytes_), allBytes_);
  }

  OpenedHive Open(const fs::path& file) {
    try {
      return {file, Hive::Open(file, observer_, doneBytes_), {}};
    } catch (const MachineError& error) {
      return {file, nullptr, error.what()};
    }
  }

  const LoadObserver& observer_;
  std::uint64_t allBytes_ = 0;
  std::atomic<std::uint64_t> doneBytes_ = 0;
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
  void Put(std::u16string_view path, Hive& hive) { hive.FillLater(registry_.CreateKey(path), hive.Root()); }
  std::u16string SidOf(const std::u16string& folderName);

  RegistryTree& registry_;
  const LoadObserver& observer_;
  bool hasPerson_ = false;
};

void Loader::LoadSoftware(const OpenedHive& software) {
  if (!software.hive) throw MachineError(software.error);
  Put(u"HKEY_LOCAL_MACHINE\\SOFTWARE", *software.hive);
}

// A running Windows shows the control set in use a second time, as CurrentControlSet; the hive does not hold
// that.
void Loader::LoadSystem(const OpenedHive& opened) {
  if (!IsOpen(opened)) return;
  Key& key = registry_.CreateKey(u"HKEY_LOCAL_MACHINE\\SYSTEM");
  key.lastWriteTime = opened.hive->TimeOf(opened.hive->Root());
  key.FillLater([system = opened.hive](Key& empty) {
    system->Fill(empty, system->Root());
    Key* const select = empty.FindSubKey(u"Select");
    std::string number = std::to_string(select ? NumberOf(*select, u"Current") : 0);
    number.insert(0, 3 - std::min<std::size_t>(3, number.size()), '0');
    const auto current = system->Child(system->Root(), "ControlSet" + number);
    if (current) system->FillLater(empty.CreateSubKey(u"CurrentControlSet"), *current);
  });
}

// What services without a profile see.
void Loader::LoadDefault(const OpenedHive& services) {
  if (IsOpen(services)) Put(u"HKEY_USERS\\.DEFAULT", *services.hive);
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
  const auto fileOf = [&](const char* name) { return FindEntry(hives, name).value_or(hives / name); };
  std::vector<fs::path> machinesHives = {fileOf("SOFTWARE"), fileOf("SYSTEM")};
  // A volume made of a few hives may have none.
  if (const auto services = FindEntry(hives, "DEFAULT")) machinesHives.push_back(*services);
  HiveOpener opener(observer);
  // The users' hives take about as long as SOFTWARE.
  auto machinesOpening = opener.Start(machinesHives);
  auto usersOpening = opener.Start(FindUserHives(volume));
  Loader loader(machine.registry, observer);
  const auto machines = opener.Wait(machinesOpening);
  loader.LoadSoftware(machines[0]);
  loader.LoadSystem(machines[1]);
  if (machines.size() > 2) loader.LoadDefault(machines[2]);
  for (const OpenedHive& user : opener.Wait(usersOpening)) loader.LoadUser(user);
  machine.drives.Mount(u'C', volume);
}

}  // namespace simulated
