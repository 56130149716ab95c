/** What the jobs of both lifecycle flows share: their notes, one of their look-ups and their report. */
#pragma once

#include <string>
#include <unordered_map>

#include "base/SDKLog.h"
#include "inventory/RegistryPath.h"

namespace kestrelbay {

/** A job's own notes, UTF-8. Reading an absent key yields the empty text and adds the key. */
using ResultMap = std::unordered_map<std::string, std::string>;

/** Sets "Result", "ErrMsg" and "DisplayName", replacing what stands there. */
void FillResultMap(ResultMap& info, const std::string& result, const std::string& errMsg,
                   const std::string& displayName);

/**
 * A flow's table and callback slot as its workers use them: without a lock, whatever a start writes there
 * meanwhile, so that no start ever waits for a job. Whoever looks for races finds these, and they are meant.
 */
template <class Flow>
struct UnlockedJobs {
  /** A job that is no longer registered is added, with a null request. */
  static auto* FindRequest(Flow& flow, const std::string& name) { return flow.jobMap[name]; }
  static auto FindCallback(const Flow& flow) { return flow.jobCallback; }
  static void Erase(Flow& flow, const std::string& name) { flow.jobMap.erase(name); }
};

/** How a job can end: what its caller is told, and what is logged. */
struct Outcome {
  const char* result;
  const char* errMsg;
  LogLevel level;
  const char* message;  ///< may hold one %s; null where the outcome is not logged
};

/**
 * Ends a job: fills its notes, then logs for the function that judged it.
 * @param argument  for the %s of the message
 */
void Conclude(ResultMap& info, const Outcome& outcome, const std::string& displayName,
              const std::string& argument, const LogSite& site);

/**
 * Copies a text into an output field of a caller's record. The copy is bounded by the text and not by the
 * field: a longer text runs past it, and that is the interface.
 */
void CopyToField(char* field, const std::string& text);

/** The DisplayName by which alone a given registry path counts as the application. */
inline constexpr char kGivenPathDisplayName[] = "HKEY_CURRENT_USER";

/**
 * Opens what a job's registryPath stands for. Its text is not read, so that is always the machine's root.
 * Logs either failure for the function that looks the application up.
 *
 * @return the place; its key is null where it does not open or is not the application
 */
OpenedPath OpenGivenPath(const LogSite& site);

}  // namespace kestrelbay
