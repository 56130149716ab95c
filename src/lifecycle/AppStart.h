/** Starting applications: an installed one by name, or any executable by path. Nothing waits for it. */
#pragma once

#include <cstdint>
#include <string>

namespace kestrelbay {

/** Where an application was found, which decides how it is started. */
enum AppSource : std::int32_t { APPSRC_NONE = 0, APPSRC_FOLDER = 1, APPSRC_REGISTRY = 2 };

struct AppLocation {
  std::string path;  ///< UTF-8: parsing name in the apps folder, or the inventory's raw DisplayIcon
  AppSource source = APPSRC_NONE;
};

/** Without state; any thread may call anything at any time. All texts are UTF-8. */
class AppStart {
 public:
  /** Made on first use by any thread, destroyed at unload. */
  static AppStart& GetInstance();
  virtual ~AppStart() = default;

  /**
   * Starts an installed application. Its program runs elevated, unless the apps folder knows it.
   * @return whether the start call succeeded
   */
  bool StartApp(const std::string& displayName, const std::string& appAlias);

  /**
   * Looks in the apps folder for an item whose name is part of either text, then in the inventory for exactly
   * `displayName`. The inventory's list stays allocated for the life of the process.
   */
  AppLocation LocateApp(const std::string& displayName, const std::string& appAlias);

  /** @return whether the process was created */
  bool StartAnyExe(const std::string& exePath, const std::string& exeArgs);

  /** StartAnyExe on a detached thread; returns when that thread has the texts, and tells no result. */
  void StartAnyExeAsync(const std::string& exePath, const std::string& exeArgs);

 private:
  AppStart() = default;
};

/** @return the path in quotes, a blank, and the arguments as they stand */
std::string BuildAnyExeCommand(const std::string& exePath, const std::string& exeArgs);

}  // namespace kestrelbay
