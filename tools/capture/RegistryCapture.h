/**
 * Captures the keys that a scan and the facts of this library read: opened with the same rights and in the
 * same views, in the order in which the machine lists them. Writes nothing to the registry, and captures no
 * key that the library does not read. Notes what cannot be read, and continues.
 */
#pragma once

#include <functional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "CapturedMachine.h"
#include "platform/Types.h"

namespace capture {

class RegistryCapture {
 public:
  /** @param poll  called for each key; an exception that it throws ends the capture */
  RegistryCapture(CapturedMachine& machine, std::function<void()> poll)
      : machine_(machine), poll_(std::move(poll)) {}

  /** Adds all keys to the machine. REQUIRES: userSid of the machine is set. */
  void Run();

 private:
  /** Where a key is opened, and where a machine directory stores it. */
  struct Place {
    platform::HKEY root;
    std::u16string path;
    platform::REGSAM view;
    std::u16string stored;
    /** The key above listed its name, so the key should exist. */
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

  /** Adds the key without its values: a scan lists it, but does not open it. */
  void AddName(const Place& place);
  /** Adds the key with its values. @return the names of its subkeys */
  Names Key(const Place& place);
  /** Adds the key and its direct subkeys. */
  void WithSubKeys(const Place& place);
  /** Adds the key and all keys below it. */
  void Tree(const Place& place);
  /** Adds the key with these values only. */
  void Values(const Place& place, const ValueNames& names);

  /** @return null if the key cannot be opened; notes why, unless it does not exist */
  platform::HKEY Open(const Place& place);
  void ReadWhole(platform::HKEY key, CapturedKey& captured, Names& names);
  void ReadValues(platform::HKEY key, CapturedKey& captured);
  void ReadNames(platform::HKEY key, const std::u16string& path, Names& names);
  void Add(CapturedKey key);
  void Note(const std::u16string& path, std::u16string_view what);

  CapturedMachine& machine_;
  /** The places and texts of its notes. */
  std::set<std::pair<std::u16string, std::u16string>> noted_;
  const std::function<void()> poll_;
};

}  // namespace capture
