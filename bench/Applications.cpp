#include "Applications.h"

#include <array>
#include <cstdio>
#include <cstring>

#include "platform/Constants.h"

namespace bench {
namespace {

constexpr std::array<const char16_t*, 12> kMakers = {
    u"Alderwick",  u"Brackenfold", u"Calderstone", u"Dunmarrow", u"Eskdale",  u"Fernhollow",
    u"Greywether", u"Hartsmere",   u"Inglebrook",  u"Juniperus", u"Kelpmoor", u"Larkspire"};
constexpr std::array<const char16_t*, 10> kKinds = {
    u"Archiver",     u"Backup",        u"Calendar Sync", u"Desktop Tools",         u"Editor",
    u"Font Manager", u"Game Launcher", u"Photo Studio",  u"Redistributable (x64)", u"Viewer"};
constexpr std::size_t kInstallerManagedEvery = 10;
constexpr std::size_t k32BitEvery = 3;

std::u16string Format(const char* format, std::size_t number) {
  std::array<char, 64> text;
  const int length = std::snprintf(text.data(), text.size(), format, number);
  return {text.begin(), text.begin() + length};
}

// Spreads neighbouring numbers, so that neighbours in one order are far apart in the other.
std::size_t Shuffled(std::size_t number) { return number * 2654435761U % 4294967291U; }

Value Text(const char16_t* name, const std::u16string& text, platform::DWORD type = platform::REG_SZ) {
  const auto* const bytes = reinterpret_cast<const std::uint8_t*>(text.c_str());
  return {name, type, {bytes, bytes + (text.size() + 1) * sizeof(char16_t)}};
}

Value Number(const char16_t* name, std::uint32_t number) {
  Value value{name, platform::REG_DWORD, std::vector<std::uint8_t>(sizeof number)};
  std::memcpy(value.bytes.data(), &number, sizeof number);
  return value;
}

void AddInstallerValues(Application& app, std::size_t number, const std::u16string& name) {
  const std::u16string digits = Format("%08zX", number);
  app.keyName = u"{" + digits + u"-A1B2-4C3D-9E8F-102030405060}";
  // The name that the installer uses for a product code: groups reversed, then pairs swapped.
  app.packedCode = std::u16string(digits.rbegin(), digits.rend()) + u"2B1AD3C4E9F8010203040506";
  app.values.push_back(Number(u"WindowsInstaller", 1));
  app.values.push_back(Text(u"UninstallString", u"MsiExec.exe /X" + app.keyName, platform::REG_EXPAND_SZ));
  app.values.push_back(Text(u"ModifyPath", u"MsiExec.exe /I" + app.keyName, platform::REG_EXPAND_SZ));
  app.productValues = {Text(u"ProductName", name),
                       Text(u"ProductIcon", u"C:\\Windows\\Installer\\" + app.keyName + u"\\app.exe")};
}

void AddSetupValues(Application& app, std::size_t number, const std::u16string& folder) {
  app.keyName = u"KestrelbayBench" + Format("%07zu", number);
  app.values.push_back(Text(u"DisplayIcon", folder + u"\\app.exe,0"));
  app.values.push_back(Text(u"UninstallString", u"\"" + folder + u"\\uninstall.exe\""));
  app.values.push_back(Text(u"QuietUninstallString", u"\"" + folder + u"\\uninstall.exe\" /S"));
}

}  // namespace

Application MakeApplication(std::size_t number) {
  const std::size_t place = Shuffled(number);
  const std::u16string maker = kMakers[place % kMakers.size()];
  const std::u16string name =
      maker + u' ' + kKinds[place / kMakers.size() % kKinds.size()] + Format(" %zu", number);
  const std::u16string folder = u"C:\\Program Files\\" + maker + u'\\' + name;
  Application app;
  app.in32BitView = number % k32BitEvery == 0;
  app.values = {Text(u"DisplayName", name),
                Text(u"DisplayVersion", Format("%zu", place % 20) + Format(".%zu.1204", place % 7)),
                Text(u"Publisher", maker + u" Software GmbH"),
                Text(u"InstallDate", Format("202401%02zu", place % 28 + 1)),
                Text(u"InstallLocation", folder),
                Text(u"InstallSource", u"C:\\Users\\anna\\Downloads\\"),
                Text(u"HelpLink", u"https://support.example/" + maker),
                Text(u"URLInfoAbout", u"https://www.example/" + maker),
                Number(u"EstimatedSize", static_cast<std::uint32_t>(place % 900000)),
                Number(u"Language", 1033),
                Number(u"NoModify", 1),
                Number(u"NoRepair", 1)};
  if (number % kInstallerManagedEvery == 0) {
    AddInstallerValues(app, number, name);
  } else {
    AddSetupValues(app, number, folder);
  }
  return app;
}

}  // namespace bench
