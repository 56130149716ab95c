/** A shared library that is loaded while a test runs, and what the process holds before and after. */
#pragma once

#include <cstddef>
#include <string>

namespace tests {

class LoadedLibrary {
 public:
  /** @throws std::runtime_error where it does not load */
  explicit LoadedLibrary(const std::string& file);
  /** Unloads it. */
  ~LoadedLibrary();
  LoadedLibrary(const LoadedLibrary&) = delete;
  LoadedLibrary& operator=(const LoadedLibrary&) = delete;

  /** @throws std::runtime_error where it exports no such name */
  void* Find(const char* name) const;
  /** Whether the process has the library loaded, by whomever. */
  static bool IsLoaded(const std::string& file);

 private:
  void* handle;
};

struct ProcessFigures {
  std::size_t threads;
  /** Open handles of the system that the library runs on. */
  std::size_t handles;
  std::size_t memoryBytes;
};

ProcessFigures MeasureProcess();

/** Has pauses of the library take no time, where the machine can. */
void SkipPauses();

}  // namespace tests
