#include <gmock/gmock.h>

#include "LogText.h"
#include "facts/AppsFolder.h"
#include "simulated/base/ComObject.h"
#include "simulated/base/Memory.h"
#include "support/OnMachine.h"

namespace kestrelbay {
namespace {

using simulated::Faults;
using testing::ElementsAre;
using testing::FieldsAre;

class AppsFolder : public OnMachine {
 protected:
  ~AppsFolder() override {
    EXPECT_EQ(simulated::ComObject::OpenCount(), 0U);
    EXPECT_EQ(simulated::OpenAllocations(), allocationsBefore);
    EXPECT_THAT(log.Lines(), ElementsAre());
  }

  std::vector<AppsFolderEntry> Enumerate() {
    std::vector<AppsFolderEntry> entries = {{"Old", "old"}};
    EnumerateAppsFolder(entries);
    return entries;
  }

  const std::size_t allocationsBefore = simulated::OpenAllocations();
  LogCapture log;
};

TEST_F(AppsFolder, ItemsAreInTheOrderOfTheShellWithBothNames) {
  machine.appsFolder.items = {{{u"Zebra \u65e5", u"Zebra!App"}}, {{u"Apple", u"Apple!App"}}};
  EXPECT_THAT(Enumerate(),
              ElementsAre(FieldsAre("Zebra \u65e5", "Zebra!App"), FieldsAre("Apple", "Apple!App")));
}

TEST_F(AppsFolder, ItemsOfOneNameBothStay) {
  machine.appsFolder.items = {{{u"Same", u"1"}}, {{u"Same", u"2"}}};
  EXPECT_THAT(Enumerate(), ElementsAre(FieldsAre("Same", "1"), FieldsAre("Same", "2")));
}

TEST_F(AppsFolder, AnItemThatFailsANameStaysWithAnEmptyOne) {
  machine.appsFolder.items = {{{std::nullopt, u"id"}}, {{u"Name", std::nullopt}}, {{u"", u""}}};
  EXPECT_THAT(Enumerate(), ElementsAre(FieldsAre("", "id"), FieldsAre("Name", ""), FieldsAre("", "")));
}

TEST_F(AppsFolder, AnErrorInTheMiddleKeepsTheItemsBeforeIt) {
  machine.appsFolder.items = {{{u"First", u"1"}}, std::nullopt, {{u"Third", u"3"}}};
  EXPECT_THAT(Enumerate(), ElementsAre(FieldsAre("First", "1")));
}

TEST_F(AppsFolder, AShellWithoutTheFolderGivesAnEmptyList) {
  machine.appsFolder.isThere = false;
  EXPECT_THAT(Enumerate(), ElementsAre());
}

TEST_F(AppsFolder, ARefusedEnumeratorGivesAnEmptyList) {
  machine.appsFolder.items = {{{u"Name", u"id"}}};
  machine.faults.FailNth(1, Faults::Extent::Once, "IShellItem_BindToHandler");
  EXPECT_THAT(Enumerate(), ElementsAre());
}

TEST_F(AppsFolder, AFailedInitialisationOfTheThreadIsIgnored) {
  machine.appsFolder.items = {{{u"Name", u"id"}}};
  machine.faults.FailNth(1, Faults::Extent::Once, "CoInitialize");
  EXPECT_THAT(Enumerate(), ElementsAre(FieldsAre("Name", "id")));
}

TEST_F(AppsFolder, CallsAreInOrderAndReleaseEachObject) {
  machine.appsFolder.items = {{{u"Name", u"id"}}};
  std::vector<std::string> calls = CallsOf([&] { Enumerate(); });
  // The result reports whether this thread was initialised before.
  ASSERT_FALSE(calls.empty());
  EXPECT_THAT(calls[0], testing::StartsWith("CoInitialize(null) = "));
  std::erase_if(calls, [](const std::string& call) {
    return call.starts_with("CoInitialize") || call.starts_with("WideCharToMultiByte");
  });
  EXPECT_THAT(calls,
              ElementsAre("SHCreateItemFromParsingName(\"shell:appsFolder\", null, 0x43826d1e) = 0",
                          "IShellItem_BindToHandler(null, 0x94f60519, 0x70629033) = 0",
                          "IEnumShellItems_Next(1, null) = 0", "IShellItem_GetDisplayName(0x80028000) = 0",
                          "CoTaskMemFree() = ", "IShellItem_GetDisplayName(0x0) = 0", "CoTaskMemFree() = ",
                          "IShellItem_Release() = 0", "IEnumShellItems_Next(1, null) = 1",
                          "IEnumShellItems_Release() = 0", "IShellItem_Release() = 0"));
}

TEST_F(AppsFolder, NoFailingCallLeavesAnObjectOpen) {
  machine.appsFolder.items = {{{u"A", u"1"}}, {{u"B", u"2"}}};
  for (const auto extent : {Faults::Extent::Once, Faults::Extent::Onwards}) {
    std::size_t n = 0;
    do {
      machine.faults.FailNth(++n, extent);
      EXPECT_LE(Enumerate().size(), 2U);
      machine.faults.Clear();
      EXPECT_EQ(simulated::ComObject::OpenCount(), 0U) << n;
      EXPECT_EQ(simulated::OpenAllocations(), allocationsBefore) << n;
      ASSERT_LT(n, 100U);
    } while (machine.faults.Fired());
    EXPECT_GT(n, 10U);
  }
}

}  // namespace
}  // namespace kestrelbay
