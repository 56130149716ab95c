// The shell's apps folder.
#include "platform/ShellFolders.h"

#include <gtest/gtest.h>

#include <string_view>
#include <thread>

#include "TestMachine.h"
#include "platform/Constants.h"

namespace platform {
namespace {

constexpr HRESULT kAlreadyInitialised = 1;

class Shell : public testing::Test {
 protected:
  Shell() { CoInitialize(nullptr); }

  static HRESULT Parse(const char16_t* name, IShellItem*& item) {
    void* made = &item;
    const HRESULT result = SHCreateItemFromParsingName(name, nullptr, IID_IShellItem, &made);
    item = static_cast<IShellItem*>(made);
    return result;
  }

  /** @return the name of an item; empty if it has none */
  static std::u16string NameOf(IShellItem* item, std::uint32_t form) {
    char16_t* name = nullptr;
    if (IShellItem_GetDisplayName(item, form, &name) != S_OK) return {};
    std::u16string copy = name;
    CoTaskMemFree(name);
    return copy;
  }

  tests::TestMachine machine;
};

TEST_F(Shell, ASecondInitialisationOfAThreadReturnsFalse) {
  EXPECT_EQ(kAlreadyInitialised, CoInitialize(nullptr));
  EXPECT_EQ(kAlreadyInitialised, CoInitialize(nullptr));
}

TEST_F(Shell, EachThreadIsInitialisedSeparately) {
  HRESULT ofOther = -1;
  std::thread([&] { ofOther = CoInitialize(nullptr); }).join();
  EXPECT_EQ(S_OK, ofOther);
}

TEST_F(Shell, TheAppsFolderIsAnItemInAnyCase) {
  for (const char16_t* name : {u"shell:appsFolder", u"shell:AppsFolder", u"SHELL:APPSFOLDER"}) {
    IShellItem* item = nullptr;
    ASSERT_GE(Parse(name, item), S_OK);
    ASSERT_NE(nullptr, item);
    EXPECT_EQ(0u, IShellItem_Release(item));
  }
}

TEST_F(Shell, AnUnknownFolderIsNoItem) {
  IShellItem* item = nullptr;
  // Wine accepts any name as that of a file on the desktop.
  EXPECT_EQ(!tests::RunsOnWine(), Parse(u"shell:noSuchFolderHere", item) < 0);
  EXPECT_EQ(!tests::RunsOnWine(), item == nullptr);
  if (item) IShellItem_Release(item);
}

TEST_F(Shell, TheAppsFolderIsEnumeratedToItsEnd) {
  IShellItem* folder = nullptr;
  ASSERT_GE(Parse(u"shell:appsFolder", folder), S_OK);
  void* bound = &folder;
  const HRESULT result =
      IShellItem_BindToHandler(folder, nullptr, BHID_EnumItems, IID_IEnumShellItems, &bound);
  // Wine has no enumerator for it.
  ASSERT_EQ(!tests::RunsOnWine(), result >= 0);
  ASSERT_EQ(!tests::RunsOnWine(), bound != nullptr);
  IShellItem_Release(folder);
  if (!bound) return;
  auto* const items = static_cast<IEnumShellItems*>(bound);
  IShellItem* item = nullptr;
  HRESULT next = S_OK;
  while ((next = IEnumShellItems_Next(items, 1, &item, nullptr)) == S_OK) {
    EXPECT_NE(u"", NameOf(item, SIGDN_NORMALDISPLAY));
    EXPECT_NE(u"", NameOf(item, SIGDN_DESKTOPABSOLUTEPARSING));
    IShellItem_Release(item);
  }
  EXPECT_EQ(1, next);
  EXPECT_EQ(1, IEnumShellItems_Next(items, 1, &item, nullptr));
  EXPECT_EQ(0u, IEnumShellItems_Release(items));
}

TEST_F(Shell, AnItemReturnsItsNameInNewMemory) {
  IShellItem* folder = nullptr;
  ASSERT_GE(Parse(u"shell:appsFolder", folder), S_OK);
  char16_t* name = nullptr;
  ASSERT_EQ(S_OK, IShellItem_GetDisplayName(folder, SIGDN_NORMALDISPLAY, &name));
  EXPECT_NE(nullptr, name);
  CoTaskMemFree(name);
  CoTaskMemFree(nullptr);
  IShellItem_Release(folder);
}

}  // namespace
}  // namespace platform
