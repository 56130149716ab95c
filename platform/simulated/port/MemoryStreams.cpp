// Streams in memory, and their memory blocks.
#include "platform/Pictures.h"
#include "simulated/port/Call.h"

namespace simulated {
namespace {

platform::HRESULT CreateStream(Machine& machine, platform::HANDLE memory, IStream** stream) {
  *stream = nullptr;
  if (memory) return kInvalidArgumentResult;
  auto made = std::make_shared<MemoryStream>();
  made->memory = machine.pictures.memory.Open(made);
  *stream = machine.pictures.streams.Open(std::move(made));
  return 0;
}

platform::HRESULT MemoryOf(Machine& machine, IStream* handle, platform::HANDLE* memory) {
  const auto stream = machine.pictures.streams.Find(handle);
  if (!stream) return kInvalidArgumentResult;
  *memory = stream->memory;
  return 0;
}

platform::DWORD Release(Machine& machine, IStream* handle) {
  if (const auto stream = machine.pictures.streams.Close(handle)) {
    machine.pictures.memory.Close(stream->memory);
  }
  return 0;
}

void* LockMemory(Machine& machine, platform::HANDLE handle) {
  const auto memory = machine.pictures.memory.Find(handle);
  // As on Windows, an empty block cannot be locked.
  if (!memory || memory->bytes.empty()) return nullptr;
  ++memory->locks;
  return memory->bytes.data();
}

/** @return whether the block is still locked */
platform::BOOL UnlockMemory(Machine& machine, platform::HANDLE handle) {
  const auto memory = machine.pictures.memory.Find(handle);
  if (!memory || memory->locks == 0) return 0;
  return --memory->locks > 0 ? 1 : 0;
}

}  // namespace
}  // namespace simulated

namespace platform {

using simulated::Arguments;
using simulated::CurrentMachine;
using simulated::Failure;
using simulated::Machine;
using simulated::Perform;

HRESULT CreateStreamOnHGlobal(HANDLE memory, BOOL deleteOnRelease, IStream** stream) {
  Machine& machine = CurrentMachine();
  return Perform(
      &machine, "CreateStreamOnHGlobal", Failure<HRESULT>{simulated::kOutOfMemoryResult},
      [&](Arguments& arguments) { arguments.Handle(memory).Number(deleteOnRelease); },
      [&] { return simulated::CreateStream(machine, memory, stream); });
}

HRESULT GetHGlobalFromStream(IStream* stream, HANDLE* memory) {
  Machine& machine = CurrentMachine();
  return Perform(
      &machine, "GetHGlobalFromStream", Failure<HRESULT>{simulated::kInvalidArgumentResult},
      [&](Arguments& arguments) { arguments.Handle(stream); },
      [&] { return simulated::MemoryOf(machine, stream, memory); });
}

DWORD IStream_Release(IStream* stream) {
  Machine& machine = CurrentMachine();
  return Perform(
      &machine, "IStream_Release", Failure<DWORD>{0, 0, true},
      [&](Arguments& arguments) { arguments.Handle(stream); },
      [&] { return simulated::Release(machine, stream); });
}

std::size_t GlobalSize(HANDLE memory) {
  Machine& machine = CurrentMachine();
  return Perform(
      &machine, "GlobalSize", Failure<std::size_t>{0, simulated::kInvalidHandle},
      [&](Arguments& arguments) { arguments.Handle(memory); },
      [&] {
        const auto block = machine.pictures.memory.Find(memory);
        return block ? block->bytes.size() : 0;
      });
}

void* GlobalLock(HANDLE memory) {
  Machine& machine = CurrentMachine();
  return Perform(
      &machine, "GlobalLock", Failure<void*>{nullptr, simulated::kNotEnoughMemory},
      [&](Arguments& arguments) { arguments.Handle(memory); },
      [&] { return simulated::LockMemory(machine, memory); });
}

BOOL GlobalUnlock(HANDLE memory) {
  Machine& machine = CurrentMachine();
  return Perform(
      &machine, "GlobalUnlock", Failure<BOOL>{0, 0, true},
      [&](Arguments& arguments) { arguments.Handle(memory); },
      [&] { return simulated::UnlockMemory(machine, memory); });
}

}  // namespace platform
