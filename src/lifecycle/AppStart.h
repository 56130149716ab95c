/** Starts applications: an installed one by name, or any executable by path. Does not wait for them. */
#pragma once

#include <cstdint>
#include <string>

namespace kestrelbay {

/** The source of an application, which decides how it is started. The names are prescribed. */
enum AppSource : std::int32_t { APPSRC_NONE = 0, APPSRC_FOLDER = 1, APPSRC_REGISTRY = 2 };

struct AppLocation {
  std::string path;  ///< UTF-8: parsing name in the apps folder, or the inventory's raw DisplayIcon
  AppSource source = APPSRC_NONE;
};

/** Has no state; thread-safe. All texts are UTF-8. */
class AppStart {
 public:
  /** Created on first use, destroyed at unload. Thread-safe. */
  static AppStart& GetInstance();
  virtual ~AppStart() = default;

  /**
   * Starts an installed application. Its program runs elevated, unless it is an item of the apps folder.
   * @return whether the start call succeeded
   */
  bool StartApp(const std::string& displayName, const std::string& appAlias);

  /**
   * Searches the apps folder for an item whose name is part of either text, then the inventory for exactly
   * `displayName`. By design the inventory stays allocated for the life of the process.
   */
  AppLocation LocateApp(const std::string& displayName, const std::string& appAlias);

  /** @return whether the process was created */
  bool StartAnyExe(const std::string& exePath, const std::string& exeArgs);

  /** Calls StartAnyExe on a detached thread. Blocks until that thread has the texts. Reports no result. */
  void StartAnyExeAsync(const std::string& exePath, const std::string& exeArgs);

 private:
  AppStart() = default;
};

/** @return the path in quotes, a blank, and the arguments unchanged */
std::string BuildAnyExeCommand(const std::string& exePath, const std::string& exeArgs);

}  // namespace kestrelbay
