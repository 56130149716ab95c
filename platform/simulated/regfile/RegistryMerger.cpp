#include "simulated/regfile/RegistryMerger.h"

namespace simulated {

void RegistryMerger::OpenKey(std::u16string_view path, std::optional<std::uint64_t> lastWriteTime) {
  key_ = &registry_.CreateKey(path);
  if (lastWriteTime) key_->lastWriteTime = *lastWriteTime;
}

void RegistryMerger::DeleteKey(std::u16string_view path) {
  registry_.RemoveKey(path);
  key_ = nullptr;
}

void RegistryMerger::SetValue(std::u16string_view name, platform::DWORD type,
                              std::span<const std::uint8_t> bytes) {
  key_->SetValue(name, type, bytes);
}

void RegistryMerger::DeleteValue(std::u16string_view name) { key_->RemoveValue(name); }

}  // namespace simulated
