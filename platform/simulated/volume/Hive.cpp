#include "simulated/volume/Hive.h"

#include <hivex.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <stdexcept>
#include <utility>

#include "simulated/base/MachineError.h"
#include "simulated/volume/HiveRecords.h"

namespace simulated {
namespace {

struct Free {
  void operator()(void* block) const { std::free(block); }
};
template <typename T>
using Block = std::unique_ptr<T[], Free>;

std::string WhyNot(int error) {
  if (error == ENOTSUP || error == EINVAL) return "is damaged, or no hive; restore it from a backup";
  return std::string("cannot be read (") + std::strerror(error) + "); make it readable";
}

}  // namespace

std::shared_ptr<Hive> Hive::Open(const std::filesystem::path& file, std::shared_ptr<const MappedFile> bytes,
                                 const LoadObserver& observer) {
  hive_h* const handle = hivex_open(file.c_str(), 0);
  const int problem = errno;
  if (!handle) throw MachineError(file.string() + ": the hive " + WhyNot(problem));
  return std::shared_ptr<Hive>(new Hive(handle, file, std::move(bytes), observer));
}

Hive::Hive(hive_h* handle, std::filesystem::path file, std::shared_ptr<const MappedFile> bytes,
           const LoadObserver& observer)
    : handle_(handle),
      file_(std::move(file)),
      bytes_(std::move(bytes)),
      damage_(observer.damage),
      warning_(observer.warning) {}

Hive::~Hive() { hivex_close(handle_); }

Hive::Node Hive::Root() const { return hivex_root(handle_); }

std::optional<Hive::Node> Hive::Child(Node node, const std::string& name) const {
  const hive_node_h child = hivex_node_get_child(handle_, node, name.c_str());
  return child == 0 ? std::nullopt : std::optional<Node>(child);
}

std::uint64_t Hive::TimeOf(Node node) const {
  const std::int64_t time = hivex_node_timestamp(handle_, node);
  return time < 0 ? 0 : static_cast<std::uint64_t>(time);
}

void Hive::FillLater(Key& key, Node node) {
  key.lastWriteTime = TimeOf(node);
  key.FillLater(*this, node);
}

void Hive::Fill(Key& key, Node node) {
  const Block<hive_value_h> values(hivex_node_values(handle_, node));
  for (const hive_value_h* value = values.get(); value && *value != 0; ++value) AddValue(key, *value);
  const Block<hive_node_h> subKeys(hivex_node_children(handle_, node));
  for (const hive_node_h* subKey = subKeys.get(); subKey && *subKey != 0; ++subKey) AddSubKey(key, *subKey);
  if (!values || !subKeys) TellOfDamage();
}

void Hive::AddValue(Key& key, std::size_t value) {
  const auto name = NameIn<ValueRecord>(bytes_->Span(), value);
  hive_type type = hive_t_REG_NONE;
  std::size_t size = 0;
  const Block<char> data(hivex_value_value(handle_, value, &type, &size));
  if (!name || !data) return TellOfDamage();
  // Any number is a type to Windows, also one that the library's has no room for.
  platform::DWORD number = 0;
  static_assert(sizeof number == sizeof type);
  std::memcpy(&number, &type, sizeof number);
  key.SetValue(*name, number, {reinterpret_cast<const std::uint8_t*>(data.get()), size});
}

void Hive::AddSubKey(Key& key, Node node) {
  const auto name = NameIn<KeyRecord>(bytes_->Span(), node);
  if (!name) return TellOfDamage();
  try {
    FillLater(key.CreateSubKey(*name), node);
  } catch (const std::length_error& impossible) {
    WarnOfImpossible(impossible.what());
  }
}

// Such as more sub keys than the library reads.
void Hive::TellOfDamage() {
  if (const Warning tell = std::exchange(damage_, nullptr))
    tell(file_.string() +
         ": some of the hive's keys cannot be read and are left out; restore it from a backup");
}

void Hive::WarnOfImpossible(const char* why) {
  if (const Warning warn = std::exchange(warning_, nullptr))
    warn(file_.string() + ": the hive holds keys that Windows does not allow (" + why +
         "); they are left out");
}

}  // namespace simulated
