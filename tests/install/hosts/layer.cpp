// The C++ layer initialises COM where icons are drawn and where the shell may start a command, on that
// thread.
#include <objbase.h>
#include <KestrelbayGeneral.hpp>

#include <atomic>

namespace {

std::atomic<int> recordsInApartment = 0;

/** Runs inside a call of the library, on its thread. */
void CountInApartment(const char*, std::int32_t, const char*) {
  if (CoInitializeEx(nullptr, COINIT_MULTITHREADED) == RPC_E_CHANGED_MODE) {
    ++recordsInApartment;
  } else {
    CoUninitialize();
  }
}

template <class Call>
bool IsInApartment(Call call) {
  recordsInApartment = 0;
  call();
  return recordsInApartment > 0;
}

}  // namespace

int main() {
  auto& library = kestrelbay::host::Library::Get();
  InitDllLogger(&CountInApartment);
  if (IsInApartment([&] { library.List(false); })) return 1;
  if (!IsInApartment([&] { library.List(true); })) return 2;
  if (!IsInApartment([&] { library.ListAsync(true).get(); })) return 3;
  return IsInApartment([&] { library.Forget("An application that nobody has"); }) ? 0 : 4;
}
