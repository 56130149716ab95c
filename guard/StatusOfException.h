/** Turns an exception of the library into a GuardStatus. */
#pragma once

#include <exception>
#include <new>
#include <stdexcept>
#include <system_error>

#include "KestrelbayGuard.h"

namespace kestrelbay::guard {

/**
 * Calls `call` and returns its result, or the status of the exception that left it.
 *
 * Each DLL has its own copy of the C++ runtime. An exception carries the function that releases it, so the
 * runtime that threw it releases it. Runtimes of g++ compare types by name, so catching by type works across
 * DLLs.
 */
template <class Call>
std::int32_t StatusOf(Call call) noexcept {
  try {
    return call();
  } catch (const std::bad_alloc&) {
    return GUARD_NO_MEMORY;
  } catch (const std::system_error&) {
    return GUARD_NO_THREAD;
  } catch (const std::invalid_argument&) {
    return GUARD_INVALID_SETTING;
  } catch (const std::out_of_range&) {
    return GUARD_INVALID_SETTING;
  } catch (...) {
    return GUARD_UNEXPECTED;
  }
}

}  // namespace kestrelbay::guard
