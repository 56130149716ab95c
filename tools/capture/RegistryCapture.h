/**
 * Reads from the registry what the inventory and the facts of this system read of it: the same keys, opened
 * with the same rights and in the same views, in the order in which the machine lists them. Nothing is
 * written, and what the library does not ask for stays on the machine.
 *
 * What cannot be read is noted and does not end the capture.
 */
#pragma once

#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "CapturedMachine.h"
#include "platform/Types.h"

namespace capture {

class RegistryCapture {
 public:
  /** @param told  called now and then, for whoever waits; what it throws ends the capture */
  RegistryCapture(CapturedMachine& machine, std::function<void()> told)
      : machine_(machine), told_(std::move(told)) {}

  /** Adds all keys to the machine, whose user is known. */
  void Run();

 private:
  /** Where a key is found, and where a machine directory has it. */
  struct Place {
    platform::HKEY root;
    std::u16string path;
    platform::REGSAM view;
    std::u16string stored;
    /** Its name was listed by the key above, so that it should be there. */
    bool isListed = false;

    Place At(std::u16string_view name) const;
    Place Listed(std::u16string_view name) const;
  };
  using Names = std::vector<std::u16string>;
  using ValueNames = std::vector<const char16_t*>;

  static Place InMachine(std::u16string_view path, platform::REGSAM view);
  static Place InHive(const std::u16string& hive, std::u16string_view path);

  void MachineKeys();
  void UserData(const Place& userData);
  void UserProducts(const Place& products);
  void Hive(const std::u16string& hive);

  /** The key as a name alone: it is listed, and not opened. */
  void AddName(const Place& place);
  /** The key, its values and the names of its sub keys, which come back. */
  Names Key(const Place& place);
  /** The key and those right below it. */
  void WithSubKeys(const Place& place);
  /** The key and all below it. */
  void Tree(const Place& place);
  /** Of the key, these values alone. */
  void Values(const Place& place, const ValueNames& names);

  /** @return null where the key cannot be opened, which is then noted or known */
  platform::HKEY Open(const Place& place);
  void ReadWhole(platform::HKEY key, CapturedKey& captured, Names& names);
  void ReadValues(platform::HKEY key, CapturedKey& captured);
  void ReadNames(platform::HKEY key, const std::u16string& path, Names& names);
  void Add(CapturedKey key);
  void Note(const std::u16string& path, std::u16string_view what);

  CapturedMachine& machine_;
  const std::function<void()> told_;
};

}  // namespace capture
