#include "simulated/volume/VolumeEnvironment.h"

#include "simulated/base/UpperCase.h"
#include "simulated/base/WideText.h"
#include "simulated/volume/RegistryTexts.h"

namespace simulated {
namespace {

constexpr std::u16string_view kControl = u"HKEY_LOCAL_MACHINE\\SYSTEM\\CurrentControlSet\\Control\\";
constexpr std::u16string_view kWindows = u"HKEY_LOCAL_MACHINE\\SOFTWARE\\Microsoft\\Windows\\CurrentVersion";
constexpr std::u16string_view kWindowsNt =
    u"HKEY_LOCAL_MACHINE\\SOFTWARE\\Microsoft\\Windows NT\\CurrentVersion";

std::u16string InControl(std::u16string_view path) { return std::u16string(kControl) += path; }

/**
 * Sets variables, but none that is longer than Windows allows. Of forged values there may be many: those
 * above a mebibyte in all are left out, too. The destructor reports which.
 */
class Variables {
 public:
  Variables(Machine& machine, const Warning& damage) : machine_(machine), damage_(damage) {}
  ~Variables() {
    if (first_.empty() || !damage_) return;
    const std::string more = others_ == 0 ? "" : " and " + std::to_string(others_) + " others";
    damage_("the environment variable " + ToUtf8(first_) + more + ": longer than Windows allows; left out");
  }
  Variables(const Variables&) = delete;
  Variables& operator=(const Variables&) = delete;

  bool Set(std::u16string_view name, const std::optional<std::u16string>& text) {
    const std::size_t size = name.size() + (text ? text->size() : 0);
    if (!text || text->size() > kLongestVariable || size > room_) return LeaveOut(name), false;
    room_ -= size;
    machine_.environment.Set(name, *text);
    return true;
  }
  /** Sets the variable unless the text is empty. */
  void SetIfKnown(std::u16string_view name, std::u16string_view text) {
    if (!text.empty()) Set(name, Expand(machine_, text));
  }
  /** Sets plain texts first, as Windows does, because expandable texts may name them. */
  void SetFromKey(std::u16string_view path) {
    Key* const key = machine_.registry.Find(path);
    for (const platform::DWORD type : {platform::REG_SZ, platform::REG_EXPAND_SZ}) {
      for (std::size_t i = 0; key && i < key->ValueCount(); ++i) {
        const ValueView value = key->ValueAt(i);
        if (value.type != type || value.name.empty()) continue;
        std::u16string text = TextOf(value);
        Set(value.name, type == platform::REG_SZ ? std::move(text) : Expand(machine_, text));
      }
    }
  }

 private:
  void LeaveOut(std::u16string_view name) {
    if (first_.empty()) {
      first_ = name;
    } else {
      ++others_;
    }
  }

  Machine& machine_;
  const Warning& damage_;
  std::size_t room_ = 1 << 20;
  std::u16string first_;
  std::size_t others_ = 0;
};

void SetProgramFolders(Machine& machine, bool is32Bit, Variables& variables) {
  constexpr struct {
    std::u16string_view variable, value;
    bool isOf64Bit;
  } kFolders[] = {{u"ProgramFiles", u"ProgramFilesDir", false},
                  {u"ProgramFiles(x86)", u"ProgramFilesDir (x86)", true},
                  {u"ProgramW6432", u"ProgramFilesDir", true},
                  {u"ProgramW6432", u"ProgramW6432Dir", true},
                  {u"CommonProgramFiles", u"CommonFilesDir", false},
                  {u"CommonProgramFiles(x86)", u"CommonFilesDir (x86)", true},
                  {u"CommonProgramW6432", u"CommonFilesDir", true},
                  {u"CommonProgramW6432", u"CommonW6432Dir", true}};
  for (const auto& folder : kFolders)
    if (!folder.isOf64Bit || !is32Bit)
      variables.SetIfKnown(folder.variable, TextAt(machine, kWindows, folder.value));
}

void SetSharedFolders(Machine& machine, Variables& variables) {
  const std::u16string list = std::u16string(kWindowsNt) + u"\\ProfileList";
  variables.SetIfKnown(u"PUBLIC", TextAt(machine, list, u"Public"));
  const std::u16string programData = TextAt(machine, list, u"ProgramData");
  variables.SetIfKnown(u"ProgramData", programData);
  variables.SetIfKnown(u"ALLUSERSPROFILE", programData);
  // Windows XP has only the name of the folder, which is in ProfilesDirectory.
  const std::u16string allUsers = TextAt(machine, list, u"AllUsersProfile");
  if (!allUsers.empty())
    variables.SetIfKnown(u"ALLUSERSPROFILE", TextAt(machine, list, u"ProfilesDirectory") + u'\\' + allUsers);
}

bool Is32Bit(Machine& machine) {
  const std::u16string processor =
      TextAt(machine, InControl(u"Session Manager\\Environment"), u"PROCESSOR_ARCHITECTURE");
  if (!processor.empty()) return SameName(processor, u"x86");
  return TextAt(machine, kWindowsNt, u"BuildLabEx").find(u".x86") != std::u16string::npos;
}

/** The registry of Windows 11 still says Windows 10. */
std::u16string ProductName(Machine& machine, std::u16string_view build) {
  constexpr std::u16string_view kOldName = u"Windows 10";
  constexpr std::u16string_view kFirstBuildOf11 = u"22000";
  std::u16string name = TextAt(machine, kWindowsNt, u"ProductName");
  if (name.starts_with(kOldName) && build.size() == kFirstBuildOf11.size() && build >= kFirstBuildOf11)
    name.replace(0, kOldName.size(), u"Windows 11");
  return name;
}

std::u16string WindowsName(Machine& machine) {
  std::u16string build = TextAt(machine, kWindowsNt, u"CurrentBuildNumber");
  std::u16string name = ProductName(machine, build);
  for (const char16_t* const version : {u"DisplayVersion", u"ReleaseId", u"CSDVersion"}) {
    const std::u16string text = TextAt(machine, kWindowsNt, version);
    if (text.empty()) continue;
    name += u' ' + text;
    break;
  }
  if (build.empty()) return name;
  Key* const key = machine.registry.Find(kWindowsNt);
  const std::string revision = key ? std::to_string(NumberIn(*key, u"UBR")) : "0";
  if (revision != "0") build += u'.' + std::u16string(revision.begin(), revision.end());
  return name + u" (build " + build + u')';
}

}  // namespace

char16_t SetSystemEnvironment(Machine& machine, const Warning& damage) {
  Variables variables(machine, damage);
  const bool is32Bit = Is32Bit(machine);
  if (is32Bit) {
    // A 32-bit Windows has no ProgramFiles(x86), but the default environment has.
    const auto usual = machine.environment.All();
    machine.environment.Clear();
    for (const auto& [name, value] : usual)
      if (!SameName(name, u"ProgramFiles(x86)")) machine.environment.Set(name, value);
  }
  const std::u16string root = TextAt(machine, kWindowsNt, u"SystemRoot");
  const char16_t letter = root.size() > 2 && root[1] == u':' ? UpperCase(root[0]) : u'\0';
  const bool hasDrive = letter >= u'A' && letter <= u'Z';
  if (hasDrive) {
    variables.Set(u"SystemRoot", root);
    machine.environment.Set(u"SystemDrive", root.substr(0, 2));
  }
  machine.environment.Set(u"windir", *machine.environment.Find(u"SystemRoot"));
  variables.SetIfKnown(u"COMPUTERNAME",
                       TextAt(machine, InControl(u"ComputerName\\ComputerName"), u"ComputerName"));
  SetProgramFolders(machine, is32Bit, variables);
  SetSharedFolders(machine, variables);
  variables.SetFromKey(InControl(u"Session Manager\\Environment"));
  return hasDrive ? letter : u'C';
}

void SetUserEnvironment(Machine& machine, std::u16string_view profile, const Warning& damage) {
  Variables variables(machine, damage);
  const std::size_t name = profile.rfind(u'\\');
  if (profile.size() > 2 && profile[1] == u':') {
    machine.environment.Set(u"USERPROFILE", profile);
    machine.environment.Set(u"HOMEDRIVE", profile.substr(0, 2));
    machine.environment.Set(u"HOMEPATH", profile.substr(2));
  }
  machine.environment.Set(u"USERNAME", profile.substr(name == profile.npos ? 0 : name + 1));
  constexpr std::u16string_view kFolders =
      u"HKEY_CURRENT_USER\\Software\\Microsoft\\Windows\\CurrentVersion\\Explorer\\User Shell Folders";
  variables.SetIfKnown(u"APPDATA", TextAt(machine, kFolders, u"AppData"));
  variables.SetIfKnown(u"LOCALAPPDATA", TextAt(machine, kFolders, u"Local AppData"));
  const std::u16string systemPath = machine.environment.Find(u"Path").value_or(u"");
  variables.SetFromKey(u"HKEY_CURRENT_USER\\Environment");
  // Windows appends the user's Path to the system's. Any other variable of the user replaces the system's.
  const std::u16string path = machine.environment.Find(u"Path").value_or(u"");
  if (systemPath.empty() || path == systemPath) return;
  if (!variables.Set(u"Path", systemPath + u';' + path)) machine.environment.Set(u"Path", systemPath);
}

void SetWindowsFacts(Machine& machine) {
  machine.volume->windows = WindowsName(machine);
  machine.volume->is32Bit = Is32Bit(machine);
}

void SetHardware(Machine& machine) {
  constexpr std::u16string_view kConfigurations = u"HKEY_LOCAL_MACHINE\\SYSTEM\\HardwareConfig";
  const std::u16string last = TextAt(machine, kConfigurations, u"LastConfig");
  Key* const from =
      last.empty() ? nullptr : machine.registry.Find(std::u16string(kConfigurations) + u'\\' + last);
  if (!from) return;
  Key& bios = machine.registry.CreateKey(u"HKEY_LOCAL_MACHINE\\HARDWARE\\DESCRIPTION\\System\\BIOS");
  bios.lastWriteTime = from->lastWriteTime;
  for (std::size_t i = 0; i < from->ValueCount(); ++i) {
    const ValueView value = from->ValueAt(i);
    bios.AddValue(value.name, value.type, value.bytes);
  }
}

}  // namespace simulated
