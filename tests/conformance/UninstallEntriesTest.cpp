// Uninstall entries: which of them are listed, and with which fields.
#include <gmock/gmock.h>

#include "HostTest.h"

namespace tests {
namespace {

using kestrelbay::ReceivedEntry;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr std::uint64_t kUnixEpoch = 116444736000000000;

class UninstallEntries : public HostTest {
 protected:
  /** A plain entry that is listed, with more texts. */
  KeyPath Plain(const std::u16string& name, Values more = {}, View view = View::Bits64) {
    more.insert(more.begin(), {{u"DisplayName", name}, {u"UninstallString", u"u.exe"}});
    return Entry(name, more, view);
  }
};

TEST_F(UninstallEntries, FieldsAreReportedAsRegistered) {
  const KeyPath key = Entry(u"Lighthouse", {{u"DisplayName", u"Lighthouse"},
                                            {u"InstallLocation", u"C:\\Lighthouse\\"},
                                            {u"DisplayVersion", u"4.2.0"},
                                            {u"DisplayIcon", u"\"C:\\Lighthouse\\light.exe\",0"},
                                            {u"InstallDate", u"20260102"},
                                            {u"UninstallString", u"C:\\Lighthouse\\remove.exe"}});
  const std::string written = std::to_string((machine.LastWriteTime(key) - kUnixEpoch) / 10000);
  EXPECT_THAT(List(),
              ElementsAre(ReceivedEntry{"Lighthouse", "C:\\Lighthouse\\", "4.2.0",
                                        "\"C:\\Lighthouse\\light.exe\",0", "", "20260102", written, 2}));
}

TEST_F(UninstallEntries, MissingValuesAreEmptyTexts) {
  const KeyPath key = Plain(u"Bare");
  const std::string written = std::to_string((machine.LastWriteTime(key) - kUnixEpoch) / 10000);
  EXPECT_THAT(List(), ElementsAre(ReceivedEntry{"Bare", "", "", "", "", "", written, 2}));
}

TEST_F(UninstallEntries, NamesInEveryScriptAreReportedAsUtf8) {
  Plain(u"\u65e5\u672c\u8a9e \u0416 \U0001F6A2");
  EXPECT_THAT(Names(), ElementsAre("\u65e5\u672c\u8a9e \u0416 \U0001F6A2"));
}

TEST_F(UninstallEntries, LoneSurrogateBecomesTheReplacementCharacter) {
  const std::u16string name = {u'A', 0xD800, u'B'};
  Entry(u"Surrogate", {{u"DisplayName", name}, {u"UninstallString", u"u.exe"}});
  EXPECT_THAT(Names(), ElementsAre("A\uFFFDB"));
}

TEST_F(UninstallEntries, TextEndsAtItsFirstNul) {
  Entry(u"Nul", {{u"DisplayName", std::u16string(u"Before\0After", 12)}, {u"UninstallString", u"u.exe"}});
  EXPECT_THAT(Names(), ElementsAre("Before"));
}

TEST_F(UninstallEntries, PlainEntryWithoutUninstallCommandIsLeftOut) {
  Entry(u"NoCommand", {{u"DisplayName", u"NoCommand"}});
  EXPECT_THAT(Names(), IsEmpty());
}

TEST_F(UninstallEntries, EntryWithoutNameIsLeftOut) {
  Entry(u"NoName", {{u"UninstallString", u"u.exe"}});
  EXPECT_THAT(Names(), IsEmpty());
}

TEST_F(UninstallEntries, ExcludedPublisherIsComparedExactly) {
  Plain(u"Out", {{u"Publisher", u"TOLVAN Handheld Engine"}});
  Plain(u"In", {{u"Publisher", u"Tolvan Handheld Engine"}});
  EXPECT_THAT(Names(), ElementsAre("In"));
}

TEST_F(UninstallEntries, SystemComponentIsLeftOutForEachTypeOfItsFlag) {
  machine.SetNumber(Plain(u"Number"), u"SystemComponent", 1);
  for (const char16_t* text : {u"1", u"01", u"+1", u" 1", u"1x"}) {
    Plain(std::u16string(u"Text ") + text, {{u"SystemComponent", text}});
  }
  const std::uint8_t one[] = {1, 0, 0, 0};
  machine.SetValue(Plain(u"Bytes"), u"SystemComponent", 3, one);
  machine.SetNumber(Plain(u"Zero"), u"SystemComponent", 0);
  Plain(u"Two", {{u"SystemComponent", u"2"}});
  Plain(u"Yes", {{u"SystemComponent", u"yes"}});
  EXPECT_THAT(Names(), ElementsAre("Bytes", "Two", "Yes", "Zero"));
}

TEST_F(UninstallEntries, UpdatesAreLeftOut) {
  for (const char16_t* name : {u"KB123456", u"KB1234567", u"kb654321", u"Windows6.1-KB123456"}) Plain(name);
  Plain(u"Child", {{u"ParentKeyName", u"x"}});
  for (const char16_t* type : {u"Security Update", u"Update Rollup", u"Hotfix", u"security update"}) {
    Plain(type, {{u"ReleaseType", type}});
  }
  EXPECT_THAT(Names(), ElementsAre("KB1234567", "kb654321", "security update", "Windows6.1-KB123456"));
}

TEST_F(UninstallEntries, ManagedEntryNeedsNoCommandAndIsNeverAnUpdate) {
  const KeyPath key = Entry(u"KB123456", {{u"DisplayName", u"Managed"}, {u"ParentKeyName", u"x"}});
  machine.SetNumber(key, u"WindowsInstaller", 1);
  EXPECT_THAT(Names(), ElementsAre("Managed"));
}

TEST_F(UninstallEntries, ManagedEntryTakesNameAndIconFromItsProduct) {
  const KeyPath key = Entry(u"{12345678-ABCD-EF01-2345-6789ABCDEF01}",
                            {{u"DisplayName", u"Displayed"}, {u"DisplayIcon", u"C:\\d.ico"}});
  machine.SetNumber(key, u"WindowsInstaller", 1);
  SetTexts(kProducts.path + u"\\87654321DCBA10FE32547698BADCFE10",
           {{u"ProductName", u"Product"}, {u"ProductIcon", u"C:\\p.ico"}});
  const std::vector<ReceivedEntry> list = List();
  ASSERT_EQ(list.size(), 1U);
  EXPECT_EQ(list[0].displayName, "Product");
  EXPECT_EQ(list[0].displayIcon, "C:\\p.ico");
  EXPECT_EQ(list[0].iconText, "C:\\p.ico");
}

TEST_F(UninstallEntries, ManagedEntryWithoutProductKeyKeepsItsName) {
  for (const char16_t* name : {u"{11111111-1111-1111-1111-111111111111}", u"No product code", u"a-b-c-d-e"}) {
    machine.SetNumber(Entry(name, {{u"DisplayName", name}}), u"WindowsInstaller", 1);
  }
  EXPECT_THAT(Names(), ElementsAre("a-b-c-d-e", "No product code", "{11111111-1111-1111-1111-111111111111}"));
}

TEST_F(UninstallEntries, CommandOf260CharactersReadsAsEmpty) {
  const std::u16string fits(259, u'x');
  Plain(u"A", {{u"UninstallString", fits}});
  Entry(u"B", {{u"DisplayName", u"B"}, {u"UninstallString", fits + u'x'}});
  machine.SetNumber(Entry(u"C", {{u"DisplayName", u"C"}, {u"UninstallString", fits + u'x'}}),
                    u"WindowsInstaller", 1);
  EXPECT_THAT(Names(), ElementsAre("A", "C"));
}

TEST_F(UninstallEntries, NumbersReadAsSignedDecimalsAndOtherTypesAsEmpty) {
  const KeyPath key = Plain(u"Types");
  machine.SetNumber(key, u"DisplayVersion", 0x80000000);
  machine.SetText(key, u"InstallLocation", u"C:\\list", 7);
  const std::uint8_t eight[] = {1, 0, 0, 0, 0, 0, 0, 0};
  machine.SetValue(key, u"InstallDate", 11, eight);
  const std::vector<ReceivedEntry> list = List();
  ASSERT_EQ(list.size(), 1U);
  EXPECT_EQ(list[0].displayVersion, "-2147483648");
  EXPECT_EQ(list[0].installLocation, "");
  EXPECT_EQ(list[0].installDate, "");
}

TEST_F(UninstallEntries, ExpandableTextIsExpanded) {
  machine.SetVariable(u"KESTREL_HOME", u"C:\\Kestrel");
  machine.SetText(Plain(u"Expands"), u"InstallLocation", u"%KESTREL_HOME%\\App %NOT_THERE%", 2);
  const std::vector<ReceivedEntry> list = List();
  ASSERT_EQ(list.size(), 1U);
  EXPECT_EQ(list[0].installLocation, "C:\\Kestrel\\App %NOT_THERE%");
}

TEST_F(UninstallEntries, ValueOfAMebibyteReadsAsEmpty) {
  machine.SetText(Plain(u"Large"), u"InstallLocation", std::u16string(std::size_t{1} << 19, u'x'));
  Plain(u"Small");
  EXPECT_THAT(Names(), ElementsAre("Large", "Small"));
}

TEST_F(UninstallEntries, KeyNameOf255CharactersIsRead) {
  const std::u16string name(255, u'n');
  Entry(name, {{u"DisplayName", u"Long key"}, {u"UninstallString", u"u.exe"}});
  EXPECT_THAT(Names(), ElementsAre("Long key"));
}

}  // namespace
}  // namespace tests
