#include <nlohmann/json.hpp>
#include <span>

#include "KestrelbayGeneralSDK.h"
#include "commands/Command.h"
#include "console/DisplayText.h"

namespace cli {
namespace {

void PrintBlocked(Session& session) {
  const char* const* table = nullptr;
  std::uint32_t count = 0;
  GetAppBlackList(&table, &count);
  const std::span<const char* const> names(table, count);
  if (session.json) {
    session.out.WriteJsonLine(nlohmann::ordered_json(names));
    return;
  }
  for (const char* name : names) session.out.Write(Printable(name) + "\n");
}

}  // namespace

void AddBlocked(CLI::App& app, Command& chosen) {
  app.add_subcommand("blocked", "List the applications that a store must not offer")->callback([&chosen] {
    chosen = PrintBlocked;
  });
}

}  // namespace cli
