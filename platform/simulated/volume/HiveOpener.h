/** Opens the hives of a volume, all at once. */
#pragma once

#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "simulated/volume/Hive.h"

namespace simulated {

/** A hive, opened or not. */
struct OpenedHive {
  std::filesystem::path file;
  /** Whole from its first key to its last. */
  std::shared_ptr<Hive> hive;
  /** Why it is not open: one line that names the file. */
  std::string error;
};

/**
 * Opens hives and looks whether they are whole, on as many threads as the host has cores.
 * @param observer  told on this thread how far all are; each hive tells it what is left out when keys are
 * read
 * @return one for each file, in the same order
 */
std::vector<OpenedHive> OpenHives(const std::vector<std::filesystem::path>& files,
                                  const LoadObserver& observer);

}  // namespace simulated
