/** A host that installs and uninstalls applications with real programs, whose steps the test sets. */
#pragma once

#include "HostTest.h"
#include "JobRecords.h"
#include "LogText.h"

namespace tests {

std::string Narrow(const std::u16string& text);

using kestrelbay::UninstallRecord;

struct InstallRecord : kestrelbay::InstallRecord {
  InstallRecord(const std::u16string& path, const std::string& name, const std::string& parameters = "",
                const std::string& registry = "")
      : kestrelbay::InstallRecord(Narrow(path), name, parameters, registry) {}
};

/** One call of a callback below. */
struct Report {
  const void* request;
  int callback;
};

class JobHost : public HostTest {
 protected:
  JobHost();

  using Steps = std::vector<ProgramStep>;

  /** Starts a job and waits until its callback is called. */
  void Run(InstallRecord& record);
  void Run(UninstallRecord& record);
  std::vector<Report> WaitForReports(std::size_t count);

  static void Receive(InstallRequest* request);
  static void ReceiveElsewhere(InstallRequest* request);
  static void ReceiveUninstall(UninstallRequest* request);

  KeyPath KeyOf(const std::u16string& name, View view = View::Bits64) const {
    return {kUninstall + u"\\" + name, view};
  }
  /** Adds an entry with this version. Its uninstall command is the program below. */
  KeyPath AddApp(const std::u16string& name, const std::u16string& version, View view = View::Bits64);

  /** @return steps that register an application, as an installer does */
  Steps InstallSteps(const std::u16string& name, const std::u16string& version) const;
  /**
   * @return steps that uninstall an application. After the watch is set they delete its values, add a subkey
   * and then delete the whole key. A system that does not report the deletion of a watched key reports the
   *         subkey.
   */
  static Steps UninstallSteps(const KeyPath& key, const std::u16string& name);

  /** The library lets the shell show its messages. */
  const MessageCloser closer;
  const std::u16string folder = machine.Folder();
  const std::u16string setup = folder + u"\\setup.exe";
  const std::u16string uninstaller = folder + u"\\remove.exe";
};

}  // namespace tests
