/** A shared library that a test loads, and the resources of the process before and after. */
#pragma once

#include <cstddef>
#include <string>

namespace tests {

class LoadedLibrary {
 public:
  /** @throws std::runtime_error if it does not load */
  explicit LoadedLibrary(const std::string& file);
  /** Unloads it. */
  ~LoadedLibrary();
  LoadedLibrary(const LoadedLibrary&) = delete;
  LoadedLibrary& operator=(const LoadedLibrary&) = delete;

  /** @throws std::runtime_error if it does not export the name */
  void* Find(const char* name) const;
  /** @return whether the library is loaded into the process, by any caller */
  static bool IsLoaded(const std::string& file);

 private:
  void* handle;
};

struct ProcessFigures {
  std::size_t threads;
  /** Open handles of the system under the library. */
  std::size_t handles;
  /** Thread-local slots in use. */
  std::size_t slots;
  std::size_t memoryBytes;
};

ProcessFigures MeasureProcess();

/**
 * Prepares the process for many lives of the library: pauses take no time if the machine can skip them, and
 * the DLLs that a host with a window loads are loaded.
 */
void PrepareLives();

/**
 * @param throws  whether each life also throws an exception to its host
 * @return the resources that as many lives of an empty library leave, which has only the runtime that the
 *         toolchain links into each library; nothing if the runtime belongs to the process
 */
ProcessFigures LeftByBareLives(std::size_t lives, bool throws);

}  // namespace tests
