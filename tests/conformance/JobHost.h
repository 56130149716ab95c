/** A host that installs and removes applications, with real programs of its own that do what a test says. */
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

/** A call of one of the callbacks below. */
struct Report {
  const void* request;
  int callback;
};

class JobHost : public HostTest {
 protected:
  JobHost();

  using Steps = std::vector<ProgramStep>;

  /** Starts a job and waits for its report. */
  void Run(InstallRecord& record);
  void Run(UninstallRecord& record);
  std::vector<Report> WaitForReports(std::size_t count);

  static void Receive(InstallRequest* request);
  static void ReceiveElsewhere(InstallRequest* request);
  static void ReceiveRemoval(UninstallRequest* request);

  KeyPath KeyOf(const std::u16string& name, View view = View::Bits64) const {
    return {kUninstall + u"\\" + name, view};
  }
  /** An entry with this version, and with the program below as uninstall command. */
  KeyPath AddApp(const std::u16string& name, const std::u16string& version, View view = View::Bits64);

  /** Steps that register an application, as an installer does. */
  Steps Registering(const std::u16string& name, const std::u16string& version) const;
  /**
   * Steps that remove an application: once the watch is set its values go, then a sub key comes, then all of
   * it goes. A system that does not tell of a watched key's own end tells of the sub key.
   */
  static Steps Removing(const KeyPath& key, const std::u16string& name);

  const std::u16string folder = machine.Folder();
  const std::u16string setup = folder + u"\\setup.exe";
  const std::u16string remover = folder + u"\\remove.exe";
};

}  // namespace tests
