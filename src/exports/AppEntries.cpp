#include "exports/AppEntries.h"

#include <cstdlib>

#include "base/CommonFunc.h"
#include "exports/HostText.h"

namespace kestrelbay {
namespace {

// Uninstall command, root and path of a record stay in the library. It finds them again with a new scan.
InstalledAppEntry NewEntry(const AppRecord& app) {
  const auto text = [](std::u16string_view wide) { return NewHostText(WideToUtf8(wide)); };
  return {.displayName = text(app.DisplayName),
          .installLocation = text(app.InstallLocation),
          .displayVersion = text(app.DisplayVersion),
          .displayIcon = text(app.DisplayIcon),
          .iconText = NewHostText(app.IconText),  // already UTF-8; the copy drops its NUL at the end
          .installDate = text(app.InstallDate),
          .lastWriteTime = text(app.LastWriteTime),
          .architecture = app.architecture};
}

void FreeTexts(InstalledAppEntry& entry) {
  for (char** text : {&entry.displayName, &entry.installLocation, &entry.displayVersion, &entry.displayIcon,
                      &entry.iconText, &entry.installDate, &entry.lastWriteTime}) {
    std::free(*text);
    *text = nullptr;
  }
}

}  // namespace

// The array is from new[], unlike its texts, which are from malloc. DeleteEntries frees both.
InstalledAppEntry* NewEntries(std::size_t count) { return new InstalledAppEntry[count]{}; }

void FillEntries(const AppRecords& apps, InstalledAppEntry* entries) {
  for (const AppRecord& app : apps) *entries++ = NewEntry(app);
}

void DeleteEntries(InstalledAppEntry* entries, std::int32_t count) {
  if (!entries) return;  // a second release of the list
  for (std::int32_t index = 0; index < count; ++index) FreeTexts(entries[index]);
  delete[] entries;
}

}  // namespace kestrelbay
