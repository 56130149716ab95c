// SetStopAppEvent and jobs. The event stays set for the life of the process, so the order of the steps
// matters.
#include <gmock/gmock.h>

#include <algorithm>

#include "JobHost.h"

namespace tests {
namespace {

using testing::ElementsAre;

class Stopping : public JobHost {};

TEST_F(Stopping, EndsCurrentAndLaterWaitsButNoProgram) {
  const KeyPath key = AddApp(u"Old", u"1.0");
  machine.MakeProgram(uninstaller,
                      {{ProgramStep::Kind::WaitForSignal, u"", u"go"}, {ProgramStep::Kind::DeleteKey, key}});
  Steps steps{{ProgramStep::Kind::WaitForSignal, u"", u"go"}};
  for (const ProgramStep& step : InstallSteps(u"New", u"1.0")) steps.push_back(step);
  machine.MakeProgram(setup, steps);
  InstallRecord installation(setup, "New");
  UninstallRecord uninstall("Old");
  Install(&installation, &Receive);
  Uninstall(&uninstall, &ReceiveUninstall);
  // Ends when the watch of the uninstallation is set.
  const std::u16string witness = folder + u"\\witness.exe";
  machine.MakeProgram(witness, {{ProgramStep::Kind::WaitForWatch, key, u"Old"}});
  ASSERT_TRUE(StartAnyExe(Narrow(witness).c_str(), ""));
  machine.WaitForProgram(witness);
  log.WaitUntil([this] {
    return std::ranges::any_of(log.Messages(), [](const std::string& message) {
      return message.starts_with("enter StartInstallProcessAndWait");
    });
  });
  EXPECT_TRUE(WaitForReports(0).empty());

  SetStopAppEvent();
  WaitForReports(2);
  EXPECT_STREQ(installation.ErrMsg, "Cannot find the app from registry!");
  EXPECT_STREQ(uninstall.ErrMsg, "The app is still in registry!");
  EXPECT_FALSE(machine.ProgramRan(setup));
  EXPECT_FALSE(machine.ProgramRan(uninstaller));
  machine.Signal(u"go");
  machine.WaitForProgram(setup);
  machine.WaitForProgram(uninstaller);
  EXPECT_THAT(Names(), ElementsAre("New"));

  const std::u16string slow = folder + u"\\slow.exe";
  machine.MakeProgram(slow, {{ProgramStep::Kind::WaitForSignal, u"", u"later"}});
  InstallRecord later(slow, "Later");
  Run(later);
  EXPECT_STREQ(later.ErrMsg, "Cannot find the app from registry!");
  EXPECT_FALSE(machine.ProgramRan(slow));
  machine.Signal(u"later");
  machine.WaitForProgram(slow);
}

}  // namespace
}  // namespace tests
