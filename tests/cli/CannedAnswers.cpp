// Replaces functions of the library by answers that no machine produces. Environment variables set them:
//   CANNED_ICON   the icon text of every application
//   CANNED_NAME   the name of the only application in the list, in any bytes
//   CANNED_THROW  the message of an exception that the list throws
//   CANNED_ERRMSG the message with which every job fails at once
//   CANNED_BEFORE, CANNED_AFTER  that application's version until a job has failed, and then; "-" is not
//   listed
#include <atomic>
#include <cstdlib>
#include <cstring>
#include <stdexcept>
#include <thread>

#include "KestrelbayGeneralSDK.h"

namespace {

char* CopyOf(const char* text) {
  return std::strcpy(static_cast<char*>(std::malloc(std::strlen(text) + 1)), text);
}

std::atomic<bool> hasFailed = false;

const char* Answer(const char* variable) {
  const char* text = std::getenv(variable);
  return text != nullptr ? text : "";
}

template <class Request>
void Fail(Request* request, void (*callback)(Request*)) {
  std::strcpy(request->Result, "Fail");
  std::strcpy(request->ErrMsg, Answer("CANNED_ERRMSG"));
  hasFailed = true;
  std::thread([=] { callback(request); }).detach();
}

}  // namespace

extern "C" {

void GetAppIconAsync(IconCallback callback, const char*) {
  std::thread([callback] {
    char* text = CopyOf(Answer("CANNED_ICON"));
    callback(text);
    std::free(text);
  }).detach();
}

void GetInstalledAppList(InstalledAppEntry** entries, std::uint32_t* count, bool) {
  if (*Answer("CANNED_THROW") != '\0') throw std::runtime_error(Answer("CANNED_THROW"));
  const char* const version = Answer(hasFailed ? "CANNED_AFTER" : "CANNED_BEFORE");
  *entries = new InstalledAppEntry[1];
  *count = 0;
  if (std::strcmp(version, "-") == 0) return;
  **entries = {CopyOf(Answer("CANNED_NAME")),
               CopyOf(""),
               CopyOf(version),
               CopyOf(""),
               CopyOf(""),
               CopyOf(""),
               CopyOf("0"),
               2};
  *count = 1;
}

void Install(InstallRequest* request, InstallCallback callback) { Fail(request, callback); }

void Uninstall(UninstallRequest* request, UninstallCallback callback) { Fail(request, callback); }
}
