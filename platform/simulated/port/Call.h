/**
 * The frame of every port operation: it applies the faults of the machine and records the call in its
 * journal.
 *
 * Every operation goes through Perform. Without a fault and a journal that costs two loads.
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

/** Builds the text of a call's arguments for the journal. */
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

/** The result of an operation that a fault hits. */
template <typename Result>
struct Failure {
  Result result;
  /** The last error that it sets; 0 to leave the last error unchanged. */
  platform::DWORD lastError = 0;
  /** True for operations that close something: they act although they fail, because no caller retries them.
   */
  bool actsAnyway = false;
};

std::string DescribeResult(const void* handle);
template <std::integral Number>
std::string DescribeResult(Number number) {
  return std::to_string(number);
}

/**
 * Runs `body`, or returns `failure` if a fault hits the call.
 * @param machine   the machine of the faults and the journal, or null
 * @param name      the Windows name of the operation
 * @param describe  adds the call's arguments to an Arguments&. It runs first, because the operation may
 * change them.
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

/** Perform for an operation without a result, which cannot fail. */
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
