/** Executables made to hurt their readers: with tables that lie, and pictures that unfold. */
#pragma once

#include <string>
#include <vector>

namespace simulated {

struct HostileFile {
  const char* name;
  std::string contents;
  /** Whether there is a picture to be drawn all the same. */
  bool hasPicture;
};

std::vector<HostileFile> HostileFiles();

}  // namespace simulated
