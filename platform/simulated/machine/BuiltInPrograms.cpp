#include "simulated/machine/BuiltInPrograms.h"

#include <algorithm>
#include <array>
#include <vector>

#include "simulated/machine/KeptChanges.h"
#include "simulated/machine/Machine.h"
#include "simulated/registry/KeyPath.h"

namespace simulated {
namespace {

constexpr int kDone = 0;
constexpr int kFailed = 1;

/** Splits parameters as Windows' C runtime does: at blanks outside of quotes. */
class ParameterReader {
 public:
  explicit ParameterReader(std::u16string_view text) : rest_(text) {}

  bool Next(std::u16string& parameter) {
    rest_.remove_prefix(std::min(rest_.find_first_not_of(u" \t"), rest_.size()));
    if (rest_.empty()) return false;
    parameter.clear();
    bool isQuoted = false;
    while (!rest_.empty() && (isQuoted || (rest_[0] != u' ' && rest_[0] != u'\t'))) {
      if (TakeBackslashes(parameter)) isQuoted = !isQuoted;
    }
    return true;
  }

 private:
  /**
   * Takes backslashes and the character behind them. Before a quote two backslashes mean one, and an odd one
   * makes the quote an ordinary character. @return whether a quote opens or closes here
   */
  bool TakeBackslashes(std::u16string& parameter) {
    const std::size_t count = std::min(rest_.find_first_not_of(u'\\'), rest_.size());
    rest_.remove_prefix(count);
    const bool isQuote = !rest_.empty() && rest_[0] == u'"';
    parameter.append(isQuote ? count / 2 : count, u'\\');
    if (!isQuote && count > 0) return false;
    const bool toggles = isQuote && count % 2 == 0;
    if (!toggles) parameter += rest_[0];
    rest_.remove_prefix(1);
    return toggles;
  }

  std::u16string_view rest_;
};

std::vector<std::u16string> Split(std::u16string_view parameters) {
  std::vector<std::u16string> all;
  ParameterReader reader(parameters);
  for (std::u16string parameter; reader.Next(parameter);) all.push_back(parameter);
  return all;
}

/** The path of the key that `reg delete PATH /f` deletes; empty for any other parameters. */
std::u16string DeletedPath(const std::vector<std::u16string>& parameters) {
  const bool isDeletion =
      parameters.size() == 3 && SameName(parameters[0], u"delete") && SameName(parameters[2], u"/f");
  return isDeletion ? parameters[1] : std::u16string();
}

int RunReg(Machine& machine, const std::u16string& parameters) {
  const std::u16string path = DeletedPath(Split(parameters));
  const std::lock_guard guard(machine.registry.Lock());
  Key* const key = machine.registry.Find(path);
  // reg refuses to delete a predefined key.
  std::u16string_view rest = path;
  if (!key || key == machine.registry.Find(TakeName(rest))) return kFailed;
  return DeleteKeptTree(machine, *key) == 0 ? kDone : kFailed;
}

// Windows' explorer returns 1 in any case.
int RunExplorer(Machine&, const std::u16string&) { return 1; }

struct SystemProgram {
  std::u16string_view pathBelowWindows;
  BuiltIn run;
};

constexpr std::array<SystemProgram, 2> kSystemPrograms = {
    {{u"\\System32\\reg.exe", &RunReg}, {u"\\explorer.exe", &RunExplorer}}};

}  // namespace

std::u16string WindowsFolder(const Machine& machine) {
  return machine.environment.Find(u"SystemRoot").value_or(u"C:\\Windows");
}

BuiltIn FindBuiltIn(const Machine& machine, const std::u16string& path) {
  const std::u16string windows = WindowsFolder(machine);
  const std::u16string normal = Drives::Normal(path);
  const auto program = std::ranges::find_if(kSystemPrograms, [&](const SystemProgram& candidate) {
    return Drives::Normal(windows + std::u16string(candidate.pathBelowWindows)) == normal;
  });
  return program == kSystemPrograms.end() ? nullptr : program->run;
}

}  // namespace simulated
