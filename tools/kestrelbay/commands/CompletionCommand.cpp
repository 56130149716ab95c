#include <CLI/App.hpp>
#include <memory>
#include <nlohmann/json.hpp>

#include "commands/Command.h"
#include "views/Completion.h"

namespace cli {

void AddCompletion(CLI::App& app, Command& chosen) {
  CLI::App* command = app.add_subcommand("completion", "Print a script that completes commands in a shell");
  auto shell = std::make_shared<std::string>();
  command->add_option("SHELL", *shell, "The shell to complete commands in")
      ->required()
      ->check(CLI::IsMember({kBash, kPowerShell, kZsh}));
  command->footer(
      "bash: save it as ~/.local/share/bash-completion/completions/kestrelbay\n"
      "zsh: save it as _kestrelbay in a folder of $fpath\n"
      "PowerShell: add to $PROFILE: kestrelbay completion powershell | Out-String | Invoke-Expression");
  command->callback([&app, &chosen, shell] {
    // Made now, because the parser does not outlive the reading of the command line.
    chosen = [script = CompletionScript(app, *shell)](Session& session) {
      session.json ? session.out.WriteJsonLine({{"script", script}}) : session.out.Write(script);
    };
    chosen.needsMachine = false;
  });
}

}  // namespace cli
