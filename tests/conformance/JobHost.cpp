#include "JobHost.h"

#include <condition_variable>
#include <mutex>

namespace tests {
namespace {

std::mutex reportsMutex;
std::condition_variable reportsChanged;
std::vector<Report> reports;

void Add(const void* request, int callback) {
  const std::lock_guard held(reportsMutex);
  reports.push_back({request, callback});
  reportsChanged.notify_all();
}

}  // namespace

std::string Narrow(const std::u16string& text) { return {text.begin(), text.end()}; }

JobHost::JobHost() {
  const std::lock_guard held(reportsMutex);
  reports.clear();
}

void JobHost::Receive(InstallRequest* request) { Add(request, 1); }

void JobHost::ReceiveElsewhere(InstallRequest* request) { Add(request, 2); }

void JobHost::ReceiveUninstall(UninstallRequest* request) { Add(request, 3); }

void JobHost::Run(InstallRecord& record) {
  const std::size_t before = WaitForReports(0).size();
  Install(&record, &Receive);
  WaitForReports(before + 1);
}

void JobHost::Run(UninstallRecord& record) {
  const std::size_t before = WaitForReports(0).size();
  Uninstall(&record, &ReceiveUninstall);
  WaitForReports(before + 1);
}

std::vector<Report> JobHost::WaitForReports(std::size_t count) {
  std::unique_lock held(reportsMutex);
  reportsChanged.wait(held, [&] { return reports.size() >= count; });
  return reports;
}

KeyPath JobHost::AddApp(const std::u16string& name, const std::u16string& version, View view) {
  return Entry(name,
               {{u"DisplayName", name},
                {u"DisplayVersion", version},
                {u"UninstallString", u"\"" + uninstaller + u"\" /S"}},
               view);
}

JobHost::Steps JobHost::InstallSteps(const std::u16string& name, const std::u16string& version) const {
  const KeyPath key = KeyOf(name);
  using Kind = ProgramStep::Kind;
  return {{Kind::SetText, key, u"DisplayName", name},
          {Kind::SetText, key, u"UninstallString", u"\"" + uninstaller + u"\" /S"},
          {Kind::SetText, key, u"DisplayVersion", version}};
}

JobHost::Steps JobHost::UninstallSteps(const KeyPath& key, const std::u16string& name) {
  using Kind = ProgramStep::Kind;
  return {{Kind::WaitForWatch, key, name},
          {Kind::DeleteValue, key, u"UninstallString"},
          {Kind::DeleteValue, key, u"DisplayName"},
          {Kind::CreateKey, {key.path + u"\\Gone", key.view}},
          {Kind::DeleteKey, key}};
}

}  // namespace tests
