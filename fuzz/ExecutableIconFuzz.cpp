// Executables and .ico files: each icon is read or refused, without reading out of bounds.
#include <string_view>

#include "simulated/pictures/IconFiles.h"
#include "simulated/pictures/IconImage.h"

namespace {

void DecodeAll(const simulated::ByteSource& file, const simulated::IconEntries& entries) {
  for (const simulated::IconEntry& entry : entries) {
    simulated::DecodeIconImage(simulated::ReadIconImage(file, entry));
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const simulated::MemorySource file({data, size});
  try {
    DecodeAll(file, simulated::FindExecutableIcon(file));
  } catch (const simulated::DamagedIcon&) {
  }
  try {
    DecodeAll(file, simulated::FindIconFileIcon(file));
  } catch (const simulated::DamagedIcon&) {
  }
  return 0;
}
