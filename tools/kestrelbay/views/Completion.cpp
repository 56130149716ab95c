#include "views/Completion.h"

#include <functional>
#include <vector>

namespace cli {
namespace {

/** A word that can be completed, and its description. */
struct Word {
  std::string text;
  std::string description;
};
using Words = std::vector<Word>;

/** How a shell writes things. */
struct Dialect {
  /** The script without the words, which take the places of @OPTIONS@, @VALUED@, @COMMANDS@ and @CASES@. */
  const char* frame;
  /** A list of words with or without their descriptions. */
  std::function<std::string(const Words&)> list;
  /** What one command adds: its name, its options, the values of its argument. */
  std::function<std::string(const std::string&, const std::string&, const std::string&)> oneCase;
  /** Between the options that take a value. */
  const char* between;
};

// The first word that is neither an option nor the value of one is the command. In `--machine=DIR` bash takes
// the sign for a word.
constexpr const char* kBashFrame = R"(# Completes kestrelbay in bash. Made by: kestrelbay completion bash
_kestrelbay() {
  local word=${COMP_WORDS[COMP_CWORD]} command= choices= options='@OPTIONS@' i
  for ((i = 1; i < COMP_CWORD; ++i)); do
    case ${COMP_WORDS[i]} in
      @VALUED@) ((++i)); [[ ${COMP_WORDS[i]} != = ]] || ((++i)) ;;
      -*) ;;
      *) command=${COMP_WORDS[i]}; break ;;
    esac
  done
  case ${COMP_WORDS[COMP_CWORD - 1]} in
    @VALUED@) return ;;
  esac
  case $command in
    '') choices='@COMMANDS@' ;;
@CASES@  esac
  [[ $word != -* ]] || choices=$options
  COMPREPLY=($(compgen -W "$choices" -- "$word"))
}
complete -o default -F _kestrelbay kestrelbay
)";

constexpr const char* kZshFrame = R"(#compdef kestrelbay
# Completes kestrelbay in zsh. Made by: kestrelbay completion zsh
_kestrelbay() {
  local command= i
  local -a choices flags
  flags=(@OPTIONS@)
  for ((i = 2; i < CURRENT; ++i)); do
    case $words[i] in
      (@VALUED@) ((++i)) ;;
      (-*) ;;
      (*) command=$words[i]; break ;;
    esac
  done
  case $words[CURRENT-1] in
    (@VALUED@) _files; return ;;
  esac
  case $command in
    ('') choices=(@COMMANDS@) ;;
@CASES@  esac
  if [[ $words[CURRENT] == -* ]]; then
    _describe -o option flags
  elif (( $#choices )); then
    _describe argument choices
  else
    _files
  fi
}
_kestrelbay "$@"
)";

constexpr const char* kPowerShellFrame =
    R"(# Completes kestrelbay in PowerShell. Made by: kestrelbay completion powershell
Register-ArgumentCompleter -Native -CommandName 'kestrelbay', 'kestrelbay.exe' -ScriptBlock {
  param($word, $line, $position)
  $choices = @()
  $options = @(@OPTIONS@)
  $valued = @(@VALUED@)
  $before = @($line.CommandElements | Where-Object { $_.Extent.EndOffset -lt $position } |
      Select-Object -Skip 1 | ForEach-Object { $_.Extent.Text })
  $command = ''
  for ($i = 0; $i -lt $before.Count; ++$i) {
    if ($valued -ccontains $before[$i]) { ++$i }
    elseif ($before[$i] -notlike '-*') { $command = $before[$i]; break }
  }
  if ($before.Count -gt 0 -and $valued -ccontains $before[-1]) { return }
  switch -CaseSensitive ($command) {
    '' { $choices = @(@COMMANDS@) }
@CASES@  }
  if ($word -like '-*') { $choices = $options }
  foreach ($choice in $choices) {
    $name, $text = $choice -split '\|', 2
    if ($name -like "$word*") {
      [System.Management.Automation.CompletionResult]::new($name, $name, 'ParameterValue', $text)
    }
  }
}
)";

std::string Replaced(std::string text, const std::string& old, const std::string& with) {
  for (std::size_t at = 0; (at = text.find(old, at)) != text.npos; at += with.size())
    text.replace(at, old.size(), with);
  return text;
}

/** @param quote  an apostrophe inside apostrophes */
std::string Quoted(const std::string& text, const char* quote) {
  return "'" + Replaced(text, "'", quote) + "'";
}

std::string Joined(const Words& words, const std::string& between,
                   const std::function<std::string(const Word&)>& write) {
  std::string list;
  for (const Word& word : words) list += (list.empty() ? "" : between) + write(word);
  return list;
}

std::string Bare(const Word& word) { return word.text; }

Dialect Bash() {
  const auto list = [](const Words& words) { return Joined(words, " ", Bare); };
  const auto oneCase = [](const std::string& name, const std::string& options, const std::string& values) {
    return "    " + name + ") options+=' " + options + "' choices='" + values + "' ;;\n";
  };
  return {kBashFrame, list, oneCase, " | "};
}

Dialect Zsh() {
  const auto list = [](const Words& words) {
    return Joined(words, " ",
                  [](const Word& word) { return Quoted(word.text + ":" + word.description, R"('\'')"); });
  };
  const auto oneCase = [](const std::string& name, const std::string& options, const std::string& values) {
    return "    (" + name + ") flags+=(" + options + ") choices=(" + values + ") ;;\n";
  };
  return {kZshFrame, list, oneCase, "|"};
}

Dialect PowerShell() {
  const auto list = [](const Words& words) {
    return Joined(words, ", ",
                  [](const Word& word) { return Quoted(word.text + "|" + word.description, "''"); });
  };
  const auto oneCase = [](const std::string& name, const std::string& options, const std::string& values) {
    return "    '" + name + "' { $options += @(" + options + "); $choices = @(" + values + ") }\n";
  };
  return {kPowerShellFrame, list, oneCase, "', '"};
}

/** Adds the spellings of an option, each with its description. */
void AddSpellings(const CLI::Option& option, Words& words) {
  for (const std::string& name : option.get_snames()) words.push_back({"-" + name, option.get_description()});
  for (const std::string& name : option.get_lnames())
    words.push_back({"--" + name, option.get_description()});
}

Words OptionsOf(const CLI::App& app, const std::function<bool(const CLI::Option*)>& isWanted) {
  Words words;
  for (const CLI::Option* option : app.get_options(isWanted)) AddSpellings(*option, words);
  return words;
}

/** The values of an argument that allows only some, which the parser shows in braces. */
Words ValuesOf(const CLI::App& app) {
  Words values;
  for (const CLI::Option* option : app.get_options()) {
    const std::string type = option->get_type_name();
    if (option->nonpositional() || !type.ends_with('}')) continue;
    for (std::size_t begin = type.find('{') + 1; begin < type.size();) {
      const std::size_t end = type.find_first_of(",}", begin);
      const std::string value = type.substr(begin, end - begin);
      values.push_back({value, value});
      begin = end + 1;
    }
  }
  return values;
}

}  // namespace

std::string CompletionScript(const CLI::App& app, const std::string& shell) {
  const Dialect dialect = shell == kBash ? Bash() : shell == kZsh ? Zsh() : PowerShell();
  const auto takesValue = [](const CLI::Option* option) { return option->get_items_expected_max() > 0; };
  Words commands;
  Words valued = OptionsOf(app, takesValue);
  std::string cases;
  for (const CLI::App* command : app.get_subcommands({})) {
    commands.push_back({command->get_name(), command->get_description()});
    // Every command has the help, as the program itself has.
    const auto isOwn = [&](const CLI::Option* option) { return option != command->get_help_ptr(); };
    cases += dialect.oneCase(command->get_name(), dialect.list(OptionsOf(*command, isOwn)),
                             dialect.list(ValuesOf(*command)));
    const Words more = OptionsOf(*command, takesValue);
    valued.insert(valued.end(), more.begin(), more.end());
  }
  std::string script = Replaced(dialect.frame, "@OPTIONS@", dialect.list(OptionsOf(app, {})));
  std::string names = Joined(valued, dialect.between, Bare);
  if (shell == kPowerShell) names = "'" + names + "'";
  script = Replaced(std::move(script), "@VALUED@", names);
  script = Replaced(std::move(script), "@COMMANDS@", dialect.list(commands));
  return Replaced(std::move(script), "@CASES@", cases);
}

}  // namespace cli
