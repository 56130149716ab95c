/**
 * One call of a port operation: where it meets the machine's faults and its journal.
 *
 * Each operation of the port goes through Perform, in one place and whatever it does. While neither a fault
 * is set nor the journal runs, that costs two loads.
 */
#pragma once

#include <concepts>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>

#include "simulated/base/LastError.h"
#include "simulated/directory/CurrentMachine.h"

namespace simulated {

/** The text of a call's arguments, as the journal keeps it. */
class Arguments {
 public:
  Arguments& Text(const char16_t* text);
  Arguments& Text(const char* text);
  Arguments& Number(long long number);
  Arguments& Hex(std::uint64_t bits);
  Arguments& Handle(const void* handle);
  Arguments& Key(Machine& machine, platform::HKEY handle);

  std::string Take() { return std::move(text_); }

 private:
  Arguments& Append(std::string_view text);

  std::string text_;
};

/** How an operation fails when it is made to. */
template <typename Result>
struct Failure {
  Result result;
  /** 0 for an operation that leaves the last error alone. */
  platform::DWORD lastError = 0;
  /** True for closing: it is done all the same, since nobody could do it a second time. */
  bool actsAnyway = false;
};

std::string DescribeResult(const void* handle);
template <std::integral Number>
std::string DescribeResult(Number number) {
  return std::to_string(number);
}

/**
 * Runs `body`, or fails in its place.
 * @param machine   the one whose faults and journal see the call, or null
 * @param describe  adds the call's arguments to an Arguments&; called before the operation acts
 */
template <typename Result, typename Describe, typename Body>
Result Perform(Machine* machine, const char* name, Failure<Result> failure, Describe describe, Body body) {
  if (!machine || (!machine->faults.Armed() && !machine->journal.Running())) [[likely]]
    return body();
  Arguments arguments;
  if (machine->journal.Running()) describe(arguments);
  const bool failing = machine->faults.Hits(name);
  if (failing && failure.actsAnyway) body();
  const Result result = failing ? failure.result : body();
  if (failing && failure.lastError != 0) SetLastError(failure.lastError);
  machine->journal.Record({name, arguments.Take(), DescribeResult(result), std::this_thread::get_id()});
  return result;
}

/** The same for an operation without a result, which cannot fail. */
template <typename Describe, typename Body>
void Perform(Machine* machine, const char* name, Describe describe, Body body) {
  if (machine && machine->journal.Running()) {
    Arguments arguments;
    describe(arguments);
    machine->journal.Record({name, arguments.Take(), "", std::this_thread::get_id()});
  }
  body();
}

}  // namespace simulated
