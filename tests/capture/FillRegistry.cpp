// Puts keys and values into the registry exactly as a file says, which importing a registration file does
// not: it ends texts that have no end.
//
// usage: fill-registry FILE. Its records are a kind (delete a tree, make a key, set a value of the key made
// last), a type, and the sizes of a name and of the data that follow, all of 32 bits. A name is UTF-16.
#include <windows.h>

#include <array>
#include <cstdio>
#include <fstream>
#include <iterator>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace {

enum Kind : DWORD { kDeleteTree, kMakeKey, kSetValue };

std::array<std::pair<std::wstring_view, HKEY>, 3> Roots() {
  return {{{L"HKEY_LOCAL_MACHINE", HKEY_LOCAL_MACHINE},
           {L"HKEY_CURRENT_USER", HKEY_CURRENT_USER},
           {L"HKEY_USERS", HKEY_USERS}}};
}

struct Record {
  DWORD kind;
  DWORD type;
  DWORD nameBytes;
  DWORD dataBytes;
};

class Filler {
 public:
  LSTATUS Do(const Record& record, const std::wstring& name, const std::string& data) {
    if (record.kind == kSetValue) {
      return RegSetValueExW(key, name.c_str(), 0, record.type, reinterpret_cast<const BYTE*>(data.data()),
                            record.dataBytes);
    }
    const std::size_t separator = name.find(L'\\');
    const HKEY root = RootOf(std::wstring_view(name).substr(0, separator));
    const std::wstring below = name.substr(separator + 1);
    if (record.kind == kDeleteTree) {
      const LSTATUS status = RegDeleteTreeW(root, below.c_str());
      return status == ERROR_FILE_NOT_FOUND ? ERROR_SUCCESS : status;
    }
    if (key) RegCloseKey(key);
    key = nullptr;
    return RegCreateKeyExW(root, below.c_str(), 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &key, nullptr);
  }

 private:
  static HKEY RootOf(std::wstring_view name) {
    for (const auto& [rootName, root] : Roots()) {
      if (rootName == name) return root;
    }
    return nullptr;
  }

  HKEY key = nullptr;
};

}  // namespace

int main(int, char** argv) {
  std::ifstream file(argv[1], std::ios::binary);
  Filler filler;
  Record record;
  while (file.read(reinterpret_cast<char*>(&record), sizeof record)) {
    std::wstring name(record.nameBytes / sizeof(wchar_t), 0);
    std::string data(record.dataBytes, 0);
    file.read(reinterpret_cast<char*>(name.data()), static_cast<std::streamsize>(record.nameBytes));
    file.read(data.data(), static_cast<std::streamsize>(record.dataBytes));
    if (const LSTATUS status = filler.Do(record, name, data); status != ERROR_SUCCESS) {
      std::fprintf(stderr, "fill-registry: %ls: error %ld\n", name.c_str(), status);
      return 1;
    }
  }
  return 0;
}
