#include "FilledMachine.h"

#include <windows.h>

#include <memory>
#include <stdexcept>

#include "Applications.h"

namespace bench {
namespace {

struct KeyCloser {
  void operator()(HKEY key) const { RegCloseKey(key); }
};
using KeyOwner = std::unique_ptr<HKEY__, KeyCloser>;

const wchar_t* Wide(const char16_t* text) { return reinterpret_cast<const wchar_t*>(text); }

void Require(LSTATUS status, const char* what) {
  if (status) throw std::runtime_error(std::string(what) + " failed with status " + std::to_string(status));
}

KeyOwner CreateKey(HKEY parent, const std::u16string& path, REGSAM view) {
  HKEY key = nullptr;
  Require(RegCreateKeyExW(parent, Wide(path.c_str()), 0, nullptr, 0, KEY_ALL_ACCESS | view, nullptr, &key,
                          nullptr),
          "RegCreateKeyExW");
  return KeyOwner(key);
}

void Register(HKEY parent, const std::u16string& name, const std::vector<Value>& values) {
  const KeyOwner key = CreateKey(parent, name, 0);
  for (const Value& value : values) {
    Require(RegSetValueExW(key.get(), Wide(value.name.c_str()), 0, value.type, value.bytes.data(),
                           static_cast<DWORD>(value.bytes.size())),
            "RegSetValueExW");
  }
}

struct Parents {
  KeyOwner keys64 = CreateKey(HKEY_LOCAL_MACHINE, kUninstallKey, KEY_WOW64_64KEY);
  KeyOwner keys32 = CreateKey(HKEY_LOCAL_MACHINE, kUninstallKey, KEY_WOW64_32KEY);
  KeyOwner products = CreateKey(HKEY_LOCAL_MACHINE, kProductsKey, 0);

  HKEY Of(const Application& app) const { return app.in32BitView ? keys32.get() : keys64.get(); }
};

}  // namespace

FilledMachine::FilledMachine(std::size_t count) : count_(count) {
  // Creates no parent keys for an empty machine, because the destructor does not remove them.
  if (count_ == 0) return;
  const Parents parents;
  for (std::size_t number = 0; number < count; ++number) {
    const Application app = MakeApplication(number);
    Register(parents.Of(app), app.keyName, app.values);
    if (!app.packedCode.empty()) Register(parents.products.get(), app.packedCode, app.productValues);
  }
}

FilledMachine::~FilledMachine() {
  if (count_ == 0) return;
  const Parents parents;
  for (std::size_t number = 0; number < count_; ++number) {
    const Application app = MakeApplication(number);
    RegDeleteKeyW(parents.Of(app), Wide(app.keyName.c_str()));
    if (!app.packedCode.empty()) RegDeleteKeyW(parents.products.get(), Wide(app.packedCode.c_str()));
  }
}

}  // namespace bench
