/** Whether a thread of this process has come to a halt. */
#pragma once

#include <sys/types.h>

#include <fstream>
#include <string>

namespace kestrelbay {

/** Whether a thread of this process waits in the kernel. @param thread what gettid() answered on it */
inline bool Sleeps(pid_t thread) {
  std::ifstream status("/proc/self/task/" + std::to_string(thread) + "/stat");
  std::string id, name, state;
  status >> id >> name >> state;
  return state == "S";
}

}  // namespace kestrelbay
