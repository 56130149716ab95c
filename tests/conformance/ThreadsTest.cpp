// Many threads call the library at once. Each answer must be that of a single thread.
//
// KESTRELBAY_STRESS_SECONDS sets how long the threads call; scripts/check sets more than the usual time.
#include <array>
#include <chrono>
#include <cstdlib>
#include <functional>
#include <random>
#include <sstream>
#include <thread>

#include "ExecutableFile.h"
#include "HostTest.h"

namespace tests {
namespace {

constexpr std::size_t kThreads = 32;

std::chrono::seconds Duration() {
  const char* const given = std::getenv("KESTRELBAY_STRESS_SECONDS");
  return std::chrono::seconds(given ? std::atoi(given) : 2);
}

std::string Listed(bool includeIcons) {
  std::ostringstream text;
  for (const kestrelbay::ReceivedEntry& entry : List(includeIcons)) {
    text << entry.displayName << '|' << entry.displayVersion << '|' << entry.installLocation << '|'
         << entry.displayIcon << '|' << entry.iconText << '|' << entry.installDate << '|'
         << entry.lastWriteTime << '|' << entry.architecture << '\n';
  }
  return text.str();
}

std::string Fact(bool (*fact)(char*, std::int32_t*)) {
  std::array<char, 2048> buffer{};
  std::int32_t size = buffer.size();
  return fact(buffer.data(), &size) ? buffer.data() : "(none)";
}

std::string Version(const std::string& name) {
  std::array<char, 64> buffer{};
  std::int32_t size = buffer.size();
  return GetAppVersion(name.c_str(), nullptr, buffer.data(), &size) ? buffer.data() : "(none)";
}

std::string Secret(const std::string& secret) {
  char* hidden = nullptr;
  char* text = nullptr;
  Encrypt(secret.c_str(), &hidden);
  Decrypt(hidden, &text);
  std::string result(text);
  ReleaseDllStr(&hidden);
  ReleaseDllStr(&text);
  return result;
}

/** Calls by their names. Each of them always has the same answer on a machine that nobody changes. */
using Calls = std::vector<std::pair<std::string, std::function<std::string()>>>;

Calls CallsWithOneAnswer() {
  Calls calls = {
      {"list", [] { return Listed(false); }},
      {"GetDeviceId", [] { return Fact(&GetDeviceId); }},
      {"GetManufacturer", [] { return Fact(&GetManufacturer); }},
      {"GetProductName", [] { return Fact(&GetProductName); }},
      {"GetProxyServer", [] { return Fact(&GetProxyServer); }},
      {"GetGraphics", [] { return Fact(&GetGraphics); }},
      {"IsTabletPC", [] { return std::to_string(IsTabletPC()); }},
      {"space of no drive", [] { return std::to_string(GetDiskAvailableSpace("?")); }},
      {"secret", [] { return Secret("s\u00e9cret, longer than one block of the encryption"); }},
      {"deletion of nothing",
       [] { return std::to_string(DeleteAppRegistryInfo("No such application here")); }},
      {"start of nothing", [] { return std::to_string(StartApp("No such application here", "")); }},
      {"version of nothing", [] { return Version("No such application here"); }},
  };
  for (const char* name : {"App", "My App", "Tool"})
    calls.emplace_back(std::string("version of ") + name, [name] { return Version(name); });
  // Wine draws some icons blank if several threads draw at once, also without the library.
  if (!RunsOnWine()) calls.emplace_back("list with icons", [] { return Listed(true); });
  return calls;
}

class Threads : public HostTest {
 protected:
  Threads() {
    const std::u16string program = machine.Folder() + u"\\app.exe";
    machine.MakeFile(program, samples::MakeExecutable(
                                  {{u"", 1, {samples::MakePng(samples::Drawing(256, 256, 0xFF3366CC))}}}));
    Entry(u"App", {{u"DisplayName", u"App"},
                   {u"UninstallString", u"u"},
                   {u"DisplayVersion", u"1.0"},
                   {u"DisplayIcon", program}});
    Entry(u"Tool", {{u"DisplayName", u"Tool"}, {u"UninstallString", u"u"}}, View::Bits32);
    UserEntry(u"Own", {{u"DisplayName", u"My App"}, {u"UninstallString", u"u"}, {u"DisplayVersion", u"2"}});
    SetTexts({u"HKEY_LOCAL_MACHINE\\Software\\Microsoft\\Cryptography", View::Bits64},
             {{u"MachineGuid", u"{4F2A-Ab}"}});
    SetTexts(u"HKEY_LOCAL_MACHINE\\Software\\Microsoft\\Windows\\Tablet PC", {{u"IsTabletPc", u"1"}});
    SetTexts(u"HKEY_CURRENT_USER\\Software\\Microsoft\\Windows\\CurrentVersion\\Internet Settings",
             {{u"ProxyEnable", u"0"}});
  }
};

TEST_F(Threads, EachOfManyReceivesTheAnswersOfASingleOne) {
  const Calls calls = CallsWithOneAnswer();
  std::vector<std::string> expected;
  for (const auto& [name, call] : calls) expected.push_back(call());
  const auto end = std::chrono::steady_clock::now() + Duration();
  std::array<std::vector<std::string>, kThreads> wrong;
  std::array<std::vector<std::size_t>, kThreads> counts;
  std::vector<std::thread> threads;
  for (std::size_t number = 0; number < kThreads; ++number) {
    threads.emplace_back([&, number] {
      std::mt19937 chance(static_cast<unsigned>(number));
      counts[number].resize(calls.size());
      while (std::chrono::steady_clock::now() < end) {
        const std::size_t chosen = chance() % calls.size();
        const std::string answer = calls[chosen].second();
        if (answer != expected[chosen]) wrong[number].push_back(calls[chosen].first + ": " + answer);
        ++counts[number][chosen];
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  std::vector<std::size_t> total(calls.size());
  for (std::size_t number = 0; number < kThreads; ++number) {
    EXPECT_EQ(wrong[number], std::vector<std::string>());
    for (std::size_t call = 0; call < calls.size(); ++call) total[call] += counts[number][call];
  }
  for (std::size_t call = 0; call < calls.size(); ++call) {
    EXPECT_GT(total[call], 0U) << calls[call].first;
    std::printf("%zu times %s\n", total[call], calls[call].first.c_str());
  }
}

}  // namespace
}  // namespace tests
