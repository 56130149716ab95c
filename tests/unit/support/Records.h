/** Records of the inventory as text, so that a failed test shows the difference. */
#pragma once

#include <string>
#include <vector>

#include "NaiveInventory.h"
#include "inventory/AppRecords.h"

namespace kestrelbay {

/** A record with only a name. */
InstalledAppInfo Named(const std::u16string& name);

/** @return all fields of a record, each as name=value; lone surrogates become U+FFFD */
std::string Describe(const InstalledAppInfo& app);
std::vector<std::string> Describe(const PlainRecords& records);
std::vector<std::u16string> NamesOf(const PlainRecords& records);

/** Copies the records of a list. */
PlainRecords RecordsOf(const AppRecords& apps);

}  // namespace kestrelbay
