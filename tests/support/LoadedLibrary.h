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
  /** Thread-local slots in use. */
  std::size_t slots;
  std::size_t memoryBytes;
};

ProcessFigures MeasureProcess();

/**
 * Readies the process for lives of the library: its pauses take no time where the machine can skip them, and
 * what a host with a window has loaded anyway is loaded.
 */
void PrepareLives();

/**
 * What that many lives leave behind of a library that has nothing in it but the runtime which the toolchain
 * links into each; nothing where the runtime is the process's own.
 */
ProcessFigures LeftByBareLives(std::size_t lives);

}  // namespace tests
