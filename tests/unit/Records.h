/** Records of the inventory as text, so that a test that fails shows what differs. */
#pragma once

#include <string>
#include <vector>

#include "inventory/AppList.h"

namespace kestrelbay {

/** All fields of a record, each as name=value; lone surrogates are shown as U+FFFD. */
std::string Describe(const InstalledAppInfo& app);
std::vector<std::string> Describe(const InstalledAppList& apps);
std::vector<std::u16string> NamesOf(const InstalledAppList& apps);

}  // namespace kestrelbay
