/** Detects a thread of this process that sleeps. */
#pragma once

#include <sys/types.h>

#include <fstream>
#include <string>

namespace kestrelbay {

/** @param thread  its gettid() @return whether it waits in the kernel */
inline bool Sleeps(pid_t thread) {
  std::ifstream status("/proc/self/task/" + std::to_string(thread) + "/stat");
  std::string id, name, state;
  status >> id >> name >> state;
  return state == "S";
}

}  // namespace kestrelbay
