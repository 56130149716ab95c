// Answers in the library's place, from the environment, what no machine would make it answer:
//   CANNED_ICON   the icon text of every application
//   CANNED_NAME   the name of the one application in the list, in whatever bytes
//   CANNED_THROW  the message of an exception that asking for the list ends in
#include <cstdlib>
#include <cstring>
#include <stdexcept>
#include <thread>

#include "KestrelbayGeneralSDK.h"

namespace {

char* CopyOf(const char* text) {
  return std::strcpy(static_cast<char*>(std::malloc(std::strlen(text) + 1)), text);
}

const char* Answer(const char* variable) {
  const char* text = std::getenv(variable);
  return text != nullptr ? text : "";
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
  *entries = new InstalledAppEntry[1];
  **entries = {CopyOf(Answer("CANNED_NAME")),
               CopyOf(""),
               CopyOf(""),
               CopyOf(""),
               CopyOf(""),
               CopyOf(""),
               CopyOf("0"),
               2};
  *count = 1;
}
}
