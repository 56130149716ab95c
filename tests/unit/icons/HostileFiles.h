/** Executables that attack their readers: with false tables, and with pictures that decompress to huge sizes.
 */
#pragma once

#include <string>
#include <vector>

namespace simulated {

struct HostileFile {
  const char* name;
  std::string contents;
  /** Whether the file still has a picture that can be drawn. */
  bool hasPicture;
};

std::vector<HostileFile> HostileFiles();

}  // namespace simulated
