#include "lifecycle/Jobs.h"

#include "base/CommonFunc.h"
#include "platform/RuntimeText.h"

namespace kestrelbay {

void FillResultMap(ResultMap& info, const std::string& result, const std::string& errMsg,
                   const std::string& displayName) {
  info["Result"] = result;
  info["ErrMsg"] = errMsg;
  info["DisplayName"] = displayName;
}

void Conclude(ResultMap& info, const Outcome& outcome, const std::string& displayName,
              const std::string& argument, const LogSite& site) {
  FillResultMap(info, outcome.result, outcome.errMsg, displayName);
  if (!outcome.message) return;
  SDKLog::GetInstance().Log(outcome.level, site.file, site.function, site.line, outcome.message,
                            argument.c_str());
}

void CopyToField(char* field, const std::string& text) {
  platform::strcpy_s(field, text.size() + 1, text.c_str());
}

OpenedPath OpenGivenPath(const LogSite& site) {
  OpenedPath opened = OpenRegistryPath({});  // an empty path, by design
  const auto logFailure = [&](const char* message) {
    SDKLog::GetInstance().Log(kLogError, site.file, site.function, site.line, message);
  };
  if (!opened.key) {
    logFailure("failed open registry.");
  } else if (WideToUtf8(ReadRegistryValue(*opened.key, u"DisplayName")) != kGivenPathDisplayName) {
    logFailure("application not found from the given registry path.");
    opened.key.reset();
  }
  return opened;
}

}  // namespace kestrelbay
