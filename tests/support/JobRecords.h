/** Requests of jobs, filled like those of a host. */
#pragma once

#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "KestrelbayGeneralSDK.h"

namespace kestrelbay {

template <std::size_t Size>
void FillField(char (&field)[Size], const std::string& text) {
  ASSERT_LT(text.size(), Size);
  std::memcpy(field, text.c_str(), text.size() + 1);
}

/**
 * Has space behind the record, because only the length of the text limits the copy into the last field. The
 * output fields have texts, as after an earlier job.
 */
template <class Request>
struct RoomyRecord : Request {
  RoomyRecord(const std::string& name, const std::string& registry) : Request{} {
    constexpr char kLeftBefore[] = "left by an earlier job";
    FillField(this->displayName, name);
    FillField(this->registryPath, registry);
    FillField(this->Result, kLeftBefore);
    FillField(this->ErrMsg, kLeftBefore);
    if constexpr (requires { this->DisplayVersion; }) FillField(this->DisplayVersion, kLeftBefore);
  }
  char room[1024] = {};
};

struct InstallRecord : RoomyRecord<InstallRequest> {
  InstallRecord(const std::string& path, const std::string& name, const std::string& parameters = "",
                const std::string& registry = "")
      : RoomyRecord(name, registry) {
    FillField(installerPath, path);
    FillField(installerParams, parameters);
  }
};

struct UninstallRecord : RoomyRecord<UninstallRequest> {
  explicit UninstallRecord(const std::string& name, const std::string& registry = "")
      : RoomyRecord(name, registry) {}
};

}  // namespace kestrelbay
