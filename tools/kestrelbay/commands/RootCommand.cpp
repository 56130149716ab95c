#include <memory>
#include <nlohmann/json.hpp>
#include <vector>

#include "KestrelbayGeneralSDK.h"
#include "commands/Command.h"
#include "console/DisplayText.h"
#include "console/Failure.h"
#include "console/System.h"

namespace cli {
namespace {

void PrintRoot(Session& session, std::uint32_t mode) {
  std::vector<char> buffer(std::size_t{32} * 1024);
  auto size = static_cast<std::int32_t>(buffer.size());
  GetRootDir(buffer.data(), &size, mode);
  const std::string root = FromAnsi(buffer.data());
  if (root.empty()) throw Failure("the folder is not known; see the reason with --log");
  if (session.json) {
    session.out.WriteJsonLine({{"root", root}});
  } else {
    session.out.Write(Printable(root) + "\n");
  }
}

}  // namespace

void AddRoot(CLI::App& app, Command& chosen) {
  CLI::App* command = app.add_subcommand("root", "Print the root folder that the library reports");
  auto mode = std::make_shared<std::uint32_t>(2);
  command->add_option("--mode", *mode, "1: the current folder, 2: the folder of the program")
      ->check(CLI::Range(1, 2))
      ->capture_default_str();
  command->callback([&chosen, mode] { chosen = [mode](Session& session) { PrintRoot(session, *mode); }; });
}

}  // namespace cli
