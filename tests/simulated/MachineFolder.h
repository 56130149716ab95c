/** A folder in which a test writes a machine. Each test has another one, which is removed at its end. */
#pragma once

#include <gtest/gtest.h>

#include <filesystem>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "simulated/directory/MachineDirectory.h"

namespace simulated {

inline constexpr std::string_view kHeader = "Windows Registry Editor Version 5.00\n";

class MachineFolder : public testing::Test {
 protected:
  MachineFolder();
  ~MachineFolder() override;

  /** Writes a file below the folder. Makes the folders above it. */
  void Write(const std::string& path, std::string_view bytes);
  /** Writes a registration file with that name. Adds the heading. */
  void WriteRegistry(const std::string& name, std::string_view statements);

  std::unique_ptr<Machine> Open(Changes changes = Changes::Discarded);
  /** Opens the machine. Returns the message of the failure; empty if it does not fail. */
  std::string Refusal();

  /** The contents of the folder's files, by their paths. */
  std::map<std::string, std::string> Files() const;

  std::filesystem::path folder;
  /** The warnings of the last opening of the machine. */
  std::vector<std::string> warnings;
  /** The reports of damage of the last opening. */
  std::vector<std::string> damages;
  /** Each reported progress of the load: the bytes that are done, and all bytes. */
  std::vector<std::pair<std::uint64_t, std::uint64_t>> progress;
};

/** Returns the characters of a value with its NUL; "(none)" if the value is missing. */
std::u16string TextOf(Machine& machine, std::u16string_view path, std::u16string_view name);

}  // namespace simulated
