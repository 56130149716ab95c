#include "WorkFolder.h"

#include <windows.h>

#include <chrono>
#include <fstream>
#include <thread>

#include "PrivateFolder.h"
#include "Program.h"
#include "RegistryChanges.h"

namespace proof {
namespace {

namespace fs = std::filesystem;

// A folder without this file does not belong to the proof.
constexpr const char* kMark = "made-by-kestrelbay-proof.txt";

fs::path ProgramData() {
  wchar_t folder[MAX_PATH] = {};
  GetEnvironmentVariableW(L"ProgramData", folder, MAX_PATH);
  if (folder[0] == 0) throw Refusal("the variable ProgramData is not set");
  return folder;
}

/** Refuses keys that only the tests use. A key that exists is not ours, because ours have been removed. */
void CheckKeys() {
  using tests::KeyPath;
  using tests::View;
  for (const KeyPath& key : {KeyPath(u"HKEY_LOCAL_MACHINE\\Software\\KestrelbayContract"),
                             KeyPath(u"HKEY_LOCAL_MACHINE\\Software\\KestrelbayContract", View::Bits32),
                             KeyPath(u"HKEY_LOCAL_MACHINE\\Software\\Classes\\KestrelbayContract"),
                             KeyPath(u"HKEY_LOCAL_MACHINE\\Software\\Kestrelbay test"),
                             KeyPath(u"HKEY_LOCAL_MACHINE\\Software\\Kestrelbay-test"),
                             KeyPath(u"HKEY_LOCAL_MACHINE\\System\\KestrelbayContract"),
                             KeyPath(u"HKEY_CURRENT_USER\\Software\\KestrelbayContract")}) {
    if (tests::OpenKey(key, KEY_READ))
      throw Refusal("the key exists and is not of this proof: " +
                    std::string(key.path.begin(), key.path.end()));
  }
}

}  // namespace

WorkFolder::WorkFolder(const fs::path& programs) : path_(ProgramData() / "KestrelbayProof") {
  std::error_code error;
  // A run that was stopped before it wrote the mark leaves the folder empty.
  fs::remove(path_, error);
  if (fs::exists(path_) && !(fs::exists(path_ / kMark) && IsOfThisUser(path_)))
    throw Refusal("the folder exists and is not of this proof: " + path_.string());
  Clear();
  if (fs::exists(path_))
    throw Refusal("an earlier run left " + path_.string() +
                  ", which cannot be removed; start the proof as administrator");
  CheckKeys();
  error.clear();
  if (!MakePrivateFolder(path_)) throw Refusal("the folder cannot be made: " + path_.string());
  std::ofstream(path_ / kMark) << "The proof removes this folder at its end.\r\n";
  for (const char* folder : {"bin", "results", "temp"}) fs::create_directories(path_ / folder, error);
  fs::copy(programs, path_ / "bin", fs::copy_options::recursive, error);
  if (error) {
    Clear();
    throw Refusal("the programs cannot be copied to " + path_.string() + ": " + error.message());
  }
  const fs::path temp = path_ / "temp";
  SetEnvironmentVariableW(L"TEMP", temp.c_str());
  SetEnvironmentVariableW(L"TMP", temp.c_str());
  SetEnvironmentVariableW(L"KESTRELBAY_LOG_FILE", (temp / "log.txt").c_str());
}

WorkFolder::~WorkFolder() { Clear(); }

void WorkFolder::Clear() const {
  if (!fs::exists(path_ / kMark)) return;
  Programs::EndAllOf(path_);
  const fs::path temp = path_ / "temp";
  SetEnvironmentVariableW(L"TEMP", temp.c_str());
  SetEnvironmentVariableW(L"TMP", temp.c_str());
  std::error_code ignored;
  fs::create_directories(temp, ignored);
  { const tests::RegistryChanges removed; }
  if (tests::RegistryChanges::HasLeftKeys()) return;
  // Windows still uses the file of a program for a moment after its end.
  for (int attempt = 0; attempt < 50 && fs::exists(path_); ++attempt) {
    for (const auto& item : fs::directory_iterator(path_, ignored)) {
      if (item.path().filename() != kMark) fs::remove_all(item.path(), ignored);
    }
    // The mark goes last, so that a run that is stopped here can be continued.
    const auto begin = fs::directory_iterator(path_, ignored);
    if (std::distance(begin, fs::directory_iterator()) == 1) fs::remove_all(path_, ignored);
    if (fs::exists(path_)) std::this_thread::sleep_for(std::chrono::milliseconds(100));
  }
}

}  // namespace proof
