#include "simulated/Hive.h"

#include <hivex.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <stdexcept>
#include <utility>

#include "simulated/MachineError.h"
#include "simulated/WideText.h"

namespace simulated {
namespace {

struct Free {
  void operator()(void* block) const { std::free(block); }
};
template <typename T>
using Block = std::unique_ptr<T[], Free>;

std::string WhyNot(int error) {
  if (error == ENOTSUP || error == EINVAL) return "is damaged, or no hive; restore it from a backup";
  if (error == ENOENT) return "is missing; put it there";
  return std::string("cannot be read (") + std::strerror(error) + "); make it readable";
}

}  // namespace

std::shared_ptr<Hive> Hive::Open(const std::filesystem::path& file, Warning warning) {
  hive_h* const handle = hivex_open(file.c_str(), 0);
  if (!handle) throw MachineError(file.string() + ": the hive " + WhyNot(errno));
  return std::shared_ptr<Hive>(new Hive(handle, file, std::move(warning)));
}

Hive::Hive(hive_h* handle, std::filesystem::path file, Warning warning)
    : handle_(handle), file_(std::move(file)), warning_(std::move(warning)) {}

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
  key.FillLater([hive = shared_from_this(), node](Key& empty) { hive->Fill(empty, node); });
}

void Hive::Fill(Key& key, Node node) {
  const Block<hive_value_h> values(hivex_node_values(handle_, node));
  for (const hive_value_h* value = values.get(); value && *value != 0; ++value) AddValue(key, *value);
  const Block<hive_node_h> subKeys(hivex_node_children(handle_, node));
  for (const hive_node_h* subKey = subKeys.get(); subKey && *subKey != 0; ++subKey) AddSubKey(key, *subKey);
  if (!values || !subKeys) WarnOfDamage();
}

void Hive::AddValue(Key& key, std::size_t value) {
  const Block<char> name(hivex_value_key(handle_, value));
  hive_type type = hive_t_REG_NONE;
  std::size_t size = 0;
  const Block<char> data(hivex_value_value(handle_, value, &type, &size));
  if (!name || !data) return WarnOfDamage();
  const std::string_view nameText(name.get(), hivex_value_key_len(handle_, value));
  key.SetValue(FromUtf8(nameText), static_cast<platform::DWORD>(type),
               {reinterpret_cast<const std::uint8_t*>(data.get()), size});
}

void Hive::AddSubKey(Key& key, Node node) {
  const Block<char> name(hivex_node_name(handle_, node));
  if (!name) return WarnOfDamage();
  try {
    FillLater(key.CreateSubKey(FromUtf8({name.get(), hivex_node_name_len(handle_, node)})), node);
  } catch (const std::length_error&) {
    WarnOfDamage();
  }
}

void Hive::WarnOfDamage() {
  if (const Warning warning = std::exchange(warning_, nullptr))
    warning(file_.string() +
            ": the hive is damaged and some of its keys are left out; restore it from a backup");
}

}  // namespace simulated
