// The record of the caller: when a job reads it and writes it, and when it no longer uses it.
#include <gmock/gmock.h>

#include <cstring>
#include <set>

#include "lifecycle/AppInstall.h"
#include "lifecycle/AppUninstall.h"
#include "lifecycle/JobTest.h"

namespace kestrelbay {
namespace {

class JobRecords : public JobTest {
 protected:
  template <class Record, class Request>
  static void Wreck(Request* request) {
    std::memset(request, 'x', sizeof *request);
    delete static_cast<Record*>(request);
  }

  /** Runs a job. @return the function and source line in its last log record */
  template <class Record>
  std::string LastSourceLine(Record&& record) {
    Run(record);
    const std::string text = log.Lines().back().text;
    const std::size_t begin = text.find(':') + 1;
    return text.substr(0, text.find(' ', begin));
  }
};

TEST_F(JobRecords, CallbackOfAnInstallationMayChangeAndFreeIt) {
  Start(*new InstallRecord("", "A"), [](InstallRequest* request) {
    ReceiveInstall(request);
    Wreck<InstallRecord>(request);
  });
  WaitForEnds(1);
  EXPECT_TRUE(AppInstall::GetInstance().jobMap.empty());
}

TEST_F(JobRecords, CallbackOfAnUninstallationMayChangeAndFreeIt) {
  Start(*new UninstallRecord("A"), [](UninstallRequest* request) {
    ReceiveUninstall(request);
    Wreck<UninstallRecord>(request);
  });
  WaitForEnds(1);
  EXPECT_TRUE(AppUninstall::GetInstance().jobMap.empty());
}

TEST_F(JobRecords, InstallationIgnoresLaterChangesOfItsRequest) {
  SetProgram(u"C:\\setup.exe", [this] {
    AddApp(u"A", u"1.0");
    return 0;
  });
  InstallRecord record("C:\\setup.exe", "A", "/S");
  log.When("InstallThreadImp begin.", [&] {
    std::strcpy(record.installerPath, "C:\\other.exe");
    std::strcpy(record.displayName, "Other");
    std::strcpy(record.registryPath, "any text");
    std::strcpy(record.installerParams, "/other");
  });
  const auto calls = CallsOf([&] { Run(record); });
  EXPECT_STREQ(record.ErrMsg, "NULL");
  EXPECT_STREQ(record.DisplayVersion, "1.0");
  EXPECT_THAT(calls, testing::Contains("ShellExecuteExW(112, 0x40, null, \"runas\", \"C:\\setup.exe\", "
                                       "\"/S\", null, 5) = 1"));
  EXPECT_TRUE(AppInstall::GetInstance().jobMap.empty());
}

TEST_F(JobRecords, UninstallationIgnoresLaterChangesOfItsRequest) {
  AddApp(u"A", u"1.0", u"C:\\un.exe");
  SetProgram(u"C:\\un.exe", [this] {
    machine.registry.WaitForWatch(KeyOf(u"A"));
    machine.registry.CreateKey(KeyOf(u"A") + u"\\New");
    return 0;
  });
  UninstallRecord record("A");
  log.When("uninstallPath=", [&] {
    std::strcpy(record.displayName, "Other");
    std::strcpy(record.registryPath, "any text");
  });
  const auto calls = CallsOf([&] { Run(record); });
  EXPECT_STREQ(record.ErrMsg, "The app is still in registry!");
  EXPECT_THAT(calls, testing::Contains(testing::StartsWith("CreateEventW(null, 0, 1, \"A\") = 0x")));
  EXPECT_TRUE(AppUninstall::GetInstance().jobMap.empty());
}

TEST_F(JobRecords, InstallationUsesTheNameThatItsWorkerReads) {
  SetProgram(u"C:\\setup.exe", [this] {
    AddApp(u"New", u"1.0");
    return 0;
  });
  InstallRecord record("C:\\setup.exe", "Old");
  log.When("StartInstall begin.", [&] { std::strcpy(record.displayName, "New"); });
  Run(record);
  EXPECT_STREQ(record.ErrMsg, "NULL");
  EXPECT_STREQ(record.DisplayVersion, "1.0");
  auto& jobs = AppInstall::GetInstance().jobMap;
  EXPECT_THAT(jobs, testing::ElementsAre(testing::Pair("Old", &record)))
      << "the job erased the new name, so the old one stays";
  jobs.clear();
}

TEST_F(JobRecords, UninstallationUsesTheNameThatItsWorkerReads) {
  AddApp(u"New", u"1.0", u"C:\\un.exe");
  SetProgram(u"C:\\un.exe", [this] {
    machine.registry.WaitForWatch(KeyOf(u"New"));
    RemoveApp(u"New");
    return 0;
  });
  UninstallRecord record("Old");
  log.When("StartUninstall begin", [&] { std::strcpy(record.displayName, "New"); });
  Run(record);
  EXPECT_STREQ(record.ErrMsg, "NULL");
  auto& jobs = AppUninstall::GetInstance().jobMap;
  EXPECT_THAT(jobs, testing::ElementsAre(testing::Pair("Old", &record)))
      << "the job erased the new name, so the old one stays";
  jobs.clear();
}

TEST_F(JobRecords, EachOutcomeOfAnInstallationHasItsSourceLine) {
  SetProgram(u"C:\\nothing.exe", [] { return 0; });
  SetProgram(u"C:\\setup.exe", [this] {
    AddApp(u"A", u"1.0");
    return 0;
  });
  SetProgram(u"C:\\update.exe", [this] {
    AddApp(u"A", u"2.0");
    return 0;
  });
  std::set<std::string> lines;
  lines.insert(LastSourceLine(InstallRecord("", "A")));
  lines.insert(LastSourceLine(InstallRecord("C:\\none.exe", "A")));
  lines.insert(LastSourceLine(InstallRecord("C:\\setup.exe", "")));
  lines.insert(LastSourceLine(InstallRecord("C:\\nothing.exe", "A")));
  lines.insert(LastSourceLine(InstallRecord("C:\\setup.exe", "A")));
  lines.insert(LastSourceLine(InstallRecord("C:\\nothing.exe", "A")));
  lines.insert(LastSourceLine(InstallRecord("C:\\update.exe", "A")));
  EXPECT_EQ(lines.size(), 7U);
  EXPECT_THAT(lines, testing::Each(testing::StartsWith("InstallThreadImp:")));
}

TEST_F(JobRecords, EachLoggedOutcomeOfAnUninstallationHasItsSourceLine) {
  std::set<std::string> lines;
  lines.insert(LastSourceLine(UninstallRecord("")));
  lines.insert(LastSourceLine(UninstallRecord("None")));
  AddApp(u"A", u"1.0", u"C:\\none.exe");
  lines.insert(LastSourceLine(UninstallRecord("A")));
  AddApp(u"A", u"1.0", u"none.exe");
  lines.insert(LastSourceLine(UninstallRecord("A")));
  AddApp(u"A", u"1.0", u"C:\\un.exe");
  SetProgram(u"C:\\un.exe", [] { return 0; });
  SetStopAppEvent();
  lines.insert(LastSourceLine(UninstallRecord("A")));
  EXPECT_EQ(lines.size(), 5U);
  EXPECT_THAT(lines, testing::Each(testing::StartsWith("UninstallThreadImp:")));
}

}  // namespace
}  // namespace kestrelbay
