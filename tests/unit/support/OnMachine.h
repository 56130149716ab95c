/** A new simulated machine for each test, with short functions to fill it and to read its journal. */
#pragma once

#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "PlainRegistry.h"
#include "base/RegistryKey.h"
#include "simulated/directory/CurrentMachine.h"

namespace kestrelbay {

/** The keys of the inventory, as the machine stores them. */
inline const std::u16string kProductsPath = u"HKEY_LOCAL_MACHINE\\Software\\Classes\\Installer\\Products";
inline const std::u16string kUninstall32Path =
    u"HKEY_LOCAL_MACHINE\\Software\\Wow6432Node\\Microsoft\\Windows\\CurrentVersion\\Uninstall";
inline const std::u16string kUninstall64Path =
    u"HKEY_LOCAL_MACHINE\\Software\\Microsoft\\Windows\\CurrentVersion\\Uninstall";
inline const std::u16string kUserData32Path =
    u"HKEY_LOCAL_MACHINE\\Software\\Wow6432Node\\Microsoft\\Windows\\CurrentVersion\\Installer\\UserData";
inline const std::u16string kUserData64Path =
    u"HKEY_LOCAL_MACHINE\\Software\\Microsoft\\Windows\\CurrentVersion\\Installer\\UserData";

/** All rights of a read access. */
inline constexpr platform::DWORD kAllReading = 0x20019;

using Texts = std::vector<std::pair<std::u16string, std::u16string>>;

/** Starts a program elevated through the shell. @return whether it was started; and its process, or null */
bool StartPlainlyElevated(const std::u16string& file, const std::u16string& parameters,
                          platform::HANDLE& process);

class OnMachine : public testing::Test {
 protected:
  OnMachine();
  /** Checks that no key is open: no call of a test may leave one. */
  ~OnMachine() override { EXPECT_EQ(machine.OpenKeys(), 0U); }

  /** Creates the key with these values of type REG_SZ. */
  void SetTexts(const std::u16string& path, const Texts& values);
  void SetBytes(const std::u16string& path, std::u16string_view name, platform::DWORD type,
                const std::vector<std::uint8_t>& bytes);
  /** @return the key at a path below HKEY_LOCAL_MACHINE */
  static std::unique_ptr<RegistryKey> OpenMachineKey(const std::u16string& path);

  /** @return the calls of the machine during `action`, one per line: name(arguments) = result */
  std::vector<std::string> CallsOf(const std::function<void()>& action);

  simulated::Machine& machine;
};

}  // namespace kestrelbay
