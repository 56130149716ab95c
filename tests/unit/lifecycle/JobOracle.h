/**
 * A second implementation of both flows, as simple as possible and without their code. It predicts the
 * outcome of a job on the current machine, even if one of its calls fails.
 */
#pragma once

#include <string>

namespace kestrelbay {

/** A row of the table of outcomes: the texts for the caller, and the format of the log record. */
struct ExpectedOutcome {
  const char* result;
  const char* errMsg;
  const char* format;
};

inline constexpr ExpectedOutcome kMissing{"Fail", "Install path is not exist!",
                                          "install path is not exist, installationPath: %s"};
inline constexpr ExpectedOutcome kInstalled{"Success", "NULL", "Install success, displayName: %s"};
inline constexpr ExpectedOutcome kNotInstalled{
    "Fail", "Cannot find the app from registry!",
    "Install fail, cannot find the app from registry, displayName: %s"};
inline constexpr ExpectedOutcome kUpdated{"Success", "Update success!", "Update success, displayName: %s"};
inline constexpr ExpectedOutcome kNotUpdated{"Fail", "Update fail!", "Update fail, displayName: %s"};
inline constexpr ExpectedOutcome kNoCommand{"Fail", "Get uninstall path is empty!",
                                            "get uninstall path is empty, displayName: %s"};
inline constexpr ExpectedOutcome kProgramMissing{"Fail", "Uninstall path is not exist!",
                                                 "get uninstall is not exist, exeFile: %s"};
inline constexpr ExpectedOutcome kNotStarted{"Cancel", "Start uninstall process fail!",
                                             "Start uninstall process fail, displayName: %s"};
inline constexpr ExpectedOutcome kStillInstalled{"Fail", "The app is still in registry!",
                                                 "the app is still in registry, displayName: %s"};
inline constexpr ExpectedOutcome kUninstalled{"Success", "NULL", nullptr};

/** The expected end of a job, and the resources that it leaves. */
struct Expectation {
  ExpectedOutcome row;
  std::string version = {};
};

/** An installation whose path and name are not empty. */
Expectation PlainInstallation(const std::string& path, const std::string& name,
                              const std::string& registryPath);

/** @param exePath  the program in the uninstall command; its parameters are "/S" */
Expectation PlainUninstallation(const std::string& name, const std::string& registryPath,
                                const std::string& exePath);

}  // namespace kestrelbay
