/**
 * Product codes: packing keeps all units of a code, and undoes itself.
 *
 * Packing reverses the first three groups and swaps pairs in the last two. So a packed code that is cut into
 * groups of the same lengths packs to the original groups.
 */
#include <string>
#include <vector>

#include "Expect.h"
#include "base/CommonFunc.h"
#include "inventory/UninstallKeyScanner.h"
#include "simulated/base/WideText.h"

namespace {

using kestrelbay::PackProductCode;

std::u16string WithoutBraces(std::u16string code) {
  std::erase_if(code, [](char16_t unit) { return unit == u'{' || unit == u'}'; });
  return code;
}

bool CanBePacked(const std::vector<std::u16string>& groups) {
  return groups.size() == 5 && groups[3].size() % 2 == 0 && groups[4].size() % 2 == 0;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::u16string code = simulated::FromUtf8(std::string(data, data + size));
  const std::vector<std::u16string> groups = kestrelbay::SplitWide(WithoutBraces(code), u'-');
  const std::u16string packed = PackProductCode(code);
  fuzz::Outcome() = packed.empty() ? "not packed" : simulated::ToUtf8(packed);
  if (!CanBePacked(groups)) {
    fuzz::Expect(packed.empty(), "only five groups, the last two of even length, are packed");
    return 0;
  }
  std::u16string whole;
  std::u16string packedInGroups;
  for (const std::u16string& group : groups) {
    packedInGroups += packed.substr(whole.size(), group.size()) + u'-';
    whole += group;
  }
  packedInGroups.pop_back();
  fuzz::Expect(packed.size() == whole.size(), "packing keeps the number of units");
  fuzz::Expect(PackProductCode(u'{' + packedInGroups + u'}') == whole, "packing undoes itself");
  return 0;
}
