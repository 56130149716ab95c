#include <atomic>
#include <cstddef>

#include "KestrelbayGuard.h"
#include "StatusOfException.h"

namespace {

using kestrelbay::guard::StatusOf;

// The callback gets the address of the request, which is the address of its job.
static_assert(offsetof(GuardInstallJob, request) == 0 && offsetof(GuardUninstallJob, request) == 0);

/** The host reads `finished` on another thread: the results must be visible before it becomes 1. */
void Finish(volatile std::int32_t& finished) {
  // The field is volatile because hosts in C poll it. std::atomic_ref takes no volatile type. The cast is
  // safe because the lock-free store is one instruction on the address of the field.
  std::atomic_ref(const_cast<std::int32_t&>(finished)).store(1);
}

void FinishInstall(InstallRequest* request) { Finish(reinterpret_cast<GuardInstallJob*>(request)->finished); }

void FinishUninstall(UninstallRequest* request) {
  Finish(reinterpret_cast<GuardUninstallJob*>(request)->finished);
}

}  // namespace

extern "C" {

int32_t GuardStartInstall(GuardInstallJob* job) {
  return StatusOf([=] { return Install(&job->request, &FinishInstall), 0; });
}

int32_t GuardStartUninstall(GuardUninstallJob* job) {
  return StatusOf([=] { return Uninstall(&job->request, &FinishUninstall), 0; });
}

}  // extern "C"
