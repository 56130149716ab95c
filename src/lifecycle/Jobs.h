/** Shared by the install and the uninstall flow: results, look-up by a given path, and copies to the host. */
#pragma once

#include <string>
#include <unordered_map>

#include "base/SDKLog.h"
#include "inventory/RegistryPath.h"

namespace kestrelbay {

/** The results of a job, UTF-8. Reading a missing key yields the empty text and adds the key. */
using ResultMap = std::unordered_map<std::string, std::string>;

/** Sets "Result", "ErrMsg" and "DisplayName", replacing earlier texts. */
void FillResultMap(ResultMap& info, const std::string& result, const std::string& errMsg,
                   const std::string& displayName);

/**
 * The accesses of the workers to the table and the callback slot of their flow, without a lock, so that no
 * start waits for a job. Data races by design; listed in tsan.supp.
 */
template <class Flow>
struct UnlockedJobs {
  /** Adds a job that is not in the table, with a null request. */
  static auto* FindRequest(Flow& flow, const std::string& name) { return flow.jobMap[name]; }
  static auto FindCallback(const Flow& flow) { return flow.jobCallback; }
  static void Erase(Flow& flow, const std::string& name) { flow.jobMap.erase(name); }
};

/** An end of a job: the texts for its caller and for the log. */
struct Outcome {
  const char* result;
  const char* errMsg;
  LogLevel level;
  const char* message;  ///< may contain one %s; null if the outcome is not logged
};

/**
 * Ends a job: fills its results, then logs as the function that decided the outcome.
 * @param argument  for the %s of the message
 */
void Conclude(ResultMap& info, const Outcome& outcome, const std::string& displayName,
              const std::string& argument, const LogSite& site);

/**
 * Copies a text into an output field of a caller's record. By design the length of the text and not that of
 * the field limits the copy: a longer text overruns the field.
 */
void CopyToField(char* field, const std::string& text);

/** The DisplayName that the key of a given registry path must have, by design, to count as the application.
 */
inline constexpr char kGivenPathDisplayName[] = "HKEY_CURRENT_USER";

/**
 * Opens the key for the registryPath of a job. By design the text is not read, so this is always
 * HKEY_LOCAL_MACHINE itself. Logs a failure as the function that looks up the application.
 *
 * @return the opened path; its key is null if it does not open or is not the application
 */
OpenedPath OpenGivenPath(const LogSite& site);

}  // namespace kestrelbay
