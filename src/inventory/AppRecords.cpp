#include "inventory/AppRecords.h"

#include <algorithm>
#include <new>

namespace kestrelbay {
namespace {

// Small enough that an allocator which hands large blocks back to the system keeps these for the next list.
constexpr std::size_t kLargestBlockBytes = 0x18000;

struct WideText {
  std::u16string_view AppRecord::*listed;
  std::u16string InstalledAppInfo::*text;
};

// As they stand in memory: what clients get comes first, so that handing a record out looks at nothing else.
constexpr WideText kWideTexts[] = {
    {&AppRecord::DisplayName, &InstalledAppInfo::DisplayName},
    {&AppRecord::InstallLocation, &InstalledAppInfo::InstallLocation},
    {&AppRecord::DisplayVersion, &InstalledAppInfo::DisplayVersion},
    {&AppRecord::DisplayIcon, &InstalledAppInfo::DisplayIcon},
    {&AppRecord::InstallDate, &InstalledAppInfo::InstallDate},
    {&AppRecord::LastWriteTime, &InstalledAppInfo::LastWriteTime},
    {&AppRecord::UninstallString, &InstalledAppInfo::UninstallString},
    {&AppRecord::rootKeyStr, &InstalledAppInfo::rootKeyStr},
    {&AppRecord::subKeyPath, &InstalledAppInfo::subKeyPath},
};

std::size_t BytesOf(const InstalledAppInfo& record) {
  std::size_t units = 0;
  for (const WideText& field : kWideTexts) units += (record.*field.text).size();
  return sizeof(AppRecord) + units * sizeof(char16_t);
}

// Nothing has to be done for a record when its memory goes.
static_assert(std::is_trivially_destructible_v<AppRecord>);

}  // namespace

void Clear(InstalledAppInfo& record) {
  for (const WideText& field : kWideTexts) (record.*field.text).clear();
  record.IconText.clear();
  record.architecture = kDefaultView;
}

std::byte* PieceMemory::Take(std::size_t bytes) {
  const std::size_t whole = (bytes + alignof(AppRecord) - 1) / alignof(AppRecord) * alignof(AppRecord);
  if (blocks.empty() || rest.size() < whole) {
    const std::size_t blockBytes = std::max(whole, nextBlockBytes);
    nextBlockBytes = std::min(nextBlockBytes * 2, kLargestBlockBytes);
    blocks.push_back(std::make_unique_for_overwrite<std::byte[]>(blockBytes));
    rest = {blocks.back().get(), blockBytes};
  }
  std::byte* const piece = rest.data();
  rest = rest.subspan(whole);
  return piece;
}

const AppRecord& AppRecords::Append(const InstalledAppInfo& record) {
  std::byte* const piece = memory.Take(BytesOf(record));
  auto* const app = new (piece) AppRecord;
  auto* end = reinterpret_cast<char16_t*>(piece + sizeof(AppRecord));
  for (const WideText& field : kWideTexts) {
    const std::u16string& text = record.*field.text;
    app->*field.listed = {end, text.size()};
    end += text.copy(end, text.size());
  }
  app->architecture = record.architecture;
  apps.push_back(app);
  if (!record.IconText.empty()) SetIconText(apps.size() - 1, record.IconText);
  return *app;
}

void AppRecords::SetIconText(std::size_t index, std::string_view text) {
  auto* const copy = reinterpret_cast<char*>(memory.Take(text.size()));
  std::ranges::copy(text, copy);
  apps[index]->IconText = {copy, text.size()};
}

void AppRecords::Arrange(std::span<const std::uint32_t> indexes) {
  std::vector<AppRecord*> arranged(indexes.size());
  std::ranges::transform(indexes, arranged.begin(), [this](std::uint32_t index) { return apps[index]; });
  apps = std::move(arranged);
}

}  // namespace kestrelbay
