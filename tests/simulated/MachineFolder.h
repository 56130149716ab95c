/** A folder of its own for a test, in which it writes a machine; it goes with the test. */
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

  /** Writes a file below the folder, folders and all. */
  void Write(const std::string& path, std::string_view bytes);
  /** The registration file of that name, with its heading. */
  void WriteRegistry(const std::string& name, std::string_view statements);

  std::unique_ptr<Machine> Open(Changes changes = Changes::Discarded);
  /** What opening it fails with; empty where it does not fail. */
  std::string Refusal();

  /** The folder's files by their paths, with what is in them. */
  std::map<std::string, std::string> Files() const;

  std::filesystem::path folder;
  /** What was left out, line by line, when the machine was last opened. */
  std::vector<std::string> warnings;
  /** The same of what is damaged. */
  std::vector<std::string> damages;
  /** How far the load was each time that it was told, and the whole of it. */
  std::vector<std::pair<std::uint64_t, std::uint64_t>> progress;
};

/** The characters of a value, with its NUL; "(none)" where there is none. */
std::u16string TextOf(Machine& machine, std::u16string_view path, std::u16string_view name);

}  // namespace simulated
