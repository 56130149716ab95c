/** Registration files: bytes are read or refused. Statements that are read survive writing and reading. */
#include <string>
#include <vector>

#include "Expect.h"
#include "simulated/base/MachineError.h"
#include "simulated/regfile/RegFile.h"
#include "simulated/regfile/RegFileWriter.h"
#include "simulated/regfile/RegistryMerger.h"

namespace {

using Bytes = std::vector<std::uint8_t>;

// @return false if the file is refused
bool Read(std::span<const std::uint8_t> bytes, simulated::RegFileSink& sink) {
  try {
    simulated::ParseRegFile(bytes, "fuzzed.reg", sink);
    return true;
  } catch (const simulated::MachineError& error) {
    const std::string_view what = error.what();
    fuzz::Expect(what.starts_with("fuzzed.reg:"), "an error names the file");
    fuzz::Expect(what.find('\n') == what.npos, "an error is one line");
    fuzz::Outcome() = what;
    return false;
  }
}

Bytes Written(const simulated::RegFileWriter& writer) {
  const auto bytes = writer.Bytes();
  return {bytes.begin(), bytes.end()};
}

// Compares the statements of a file after writing and reading them.
void CheckStatements(std::span<const std::uint8_t> bytes) {
  simulated::RegFileWriter first;
  if (!Read(bytes, first)) return;
  simulated::RegFileWriter second;
  fuzz::Expect(Read(first.Bytes(), second), "a written file can be read");
  fuzz::Expect(Written(first) == Written(second), "statements survive writing and reading");
}

// Writes the key, its values and all keys below it.
void WriteKeys(simulated::Key& key, const std::u16string& path, simulated::RegFileSink& sink) {
  sink.OpenKey(path, key.lastWriteTime == 0 ? std::nullopt : std::optional(key.lastWriteTime));
  for (std::size_t i = 0; i < key.ValueCount(); ++i) {
    const simulated::ValueView value = key.ValueAt(i);
    sink.SetValue(value.name, value.type, value.bytes);
  }
  for (std::size_t i = 0; i < key.SubKeyCount(); ++i) {
    simulated::Key& subKey = key.SubKeyAt(i);
    WriteKeys(subKey, path + u'\\' + subKey.Name(), sink);
  }
}

Bytes Export(simulated::RegistryTree& registry) {
  simulated::RegFileWriter writer;
  for (const char16_t* root : {u"HKEY_LOCAL_MACHINE", u"HKEY_USERS"}) {
    WriteKeys(*registry.Find(root), root, writer);
  }
  return Written(writer);
}

std::string Described(simulated::RegistryTree& registry) {
  std::size_t keys = 0, values = 0;
  const auto count = [&](auto& self, simulated::Key& key) -> void {
    ++keys;
    values += key.ValueCount();
    for (std::size_t i = 0; i < key.SubKeyCount(); ++i) self(self, key.SubKeyAt(i));
  };
  for (const char16_t* root : {u"HKEY_LOCAL_MACHINE", u"HKEY_USERS"}) count(count, *registry.Find(root));
  return std::to_string(keys) + " keys, " + std::to_string(values) + " values";
}

void CheckRegistry(std::span<const std::uint8_t> bytes) {
  simulated::RegistryTree registry;
  simulated::RegistryMerger merger(registry);
  if (!Read(bytes, merger)) return;
  const Bytes exported = Export(registry);
  fuzz::Outcome() = Described(registry);
  simulated::RegistryTree imported;
  simulated::RegistryMerger importer(imported);
  fuzz::Expect(Read(exported, importer), "an export can be imported");
  fuzz::Expect(Export(imported) == exported, "a registry survives export and import");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  CheckStatements({data, size});
  CheckRegistry({data, size});
  return 0;
}
