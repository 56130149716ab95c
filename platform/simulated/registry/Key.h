/**
 * A key of the simulated registry: its name, its values, its subkeys.
 *
 * Names keep their case and are compared without regard to case. Subkeys are in Windows' order: each
 * character upper-cased alone, then compared by code unit. A tree may instead list them in the order of their
 * creation, for a captured machine that does not sort as Windows does. A source may fill a key when it is
 * first read, so that of a volume's hives only the keys in use are read.
 *
 * The parent owns a key. An open handle keeps a deleted key in memory, so that it can report the deletion.
 * Not thread-safe: the caller holds the lock of the RegistryTree.
 */
#pragma once

#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "platform/Types.h"
#include "simulated/base/UpperCase.h"

namespace simulated {

class Key;
class Watches;

/** Fills keys when they are first read. A hive is one. */
class KeySource {
 public:
  virtual ~KeySource() = default;
  /** Adds values and subkeys. @param place  the one given to Key::FillLater */
  virtual void Fill(Key& key, std::size_t place) = 0;
};

/** A value as it is stored. Borrowed: valid until the key changes. */
struct ValueView {
  std::u16string_view name;
  platform::DWORD type;
  std::span<const std::uint8_t> bytes;
};

class Key : public std::enable_shared_from_this<Key> {
 public:
  /** Limits of Windows: characters of a name, and levels of keys. */
  static constexpr std::size_t kLongestName = 255;
  static constexpr std::size_t kDeepestLevel = 512;

  explicit Key(std::u16string_view name, Key* parent = nullptr);
  ~Key();
  Key(const Key&) = delete;
  Key& operator=(const Key&) = delete;

  const std::u16string& Name() const;
  Key* Parent() const;

  /** Makes `source` fill this key before its values or subkeys are first read. */
  void FillLater(KeySource& source, std::size_t place);
  /** The place given to FillLater, also after the key was filled; 0 for a key without a source. */
  std::size_t Place() const { return place_; }
  /** Keeps a source of the tree's keys alive as long as the tree. */
  void KeepSource(std::shared_ptr<KeySource> source);

  /**
   * From now on the whole tree lists new subkeys in the order of their creation. Subkeys that exist already
   * come first, in their present order.
   */
  void ListAsMade();

  std::size_t SubKeyCount();
  Key& SubKeyAt(std::size_t index);
  Key* FindSubKey(std::u16string_view name);
  /**
   * Returns the subkey of that name, and creates it if it does not exist.
   * @throws std::length_error for a name or a depth that Windows does not allow
   */
  Key& CreateSubKey(std::u16string_view name);
  /** Removes a subkey and all keys below it. @return false if there is none */
  bool RemoveSubKey(std::u16string_view name);

  std::size_t ValueCount();
  /** Values are in the order in which they were first set, as on Windows. */
  ValueView ValueAt(std::size_t index);
  /** @param name  empty for the unnamed value @return false if there is none */
  bool FindValue(std::u16string_view name, ValueView& value);
  /** @param bytes  copied. They must not be a view of this key's own values. */
  void SetValue(std::u16string_view name, platform::DWORD type, std::span<const std::uint8_t> bytes);
  /**
   * Sets a value that the key does not have, without a search for it. REQUIRES: no value of that name.
   * @param bytes  borrowed from a source that the tree keeps
   */
  void AddValue(std::u16string_view name, platform::DWORD type, std::span<const std::uint8_t> bytes);
  bool RemoveValue(std::u16string_view name);

  /** The watches of the whole tree. Every change above notifies them. */
  Watches& TreeWatches();

  /** A FILETIME; 0 if it is not known. */
  std::uint64_t lastWriteTime = 0;
  /** Access rights that are refused on this key, such as KEY_READ and DELETE (0x10000). Not inherited. */
  platform::DWORD deniedRights = 0;
  /** Set when the key leaves the tree. Operations on its open handles then fail. */
  bool deleted = false;

 private:
  struct Value {
    std::u16string name;
    platform::DWORD type;
    std::span<const std::uint8_t> bytes;
    /** Empty if the bytes are a source's. */
    std::vector<std::uint8_t> own = {};

    ValueView View() const { return {name, type, bytes}; }
  };
  using Values = std::vector<Value>;
  /** Indexes of values in the order of their names. */
  using Index = std::vector<std::uint32_t>;
  struct Shared;

  void Fill();
  /** The subkeys in the order of their creation. REQUIRES: the tree lists so. */
  std::vector<Key*>& Listing();
  void NotifyWatches(platform::DWORD kind);
  std::size_t PositionOf(std::u16string_view name, bool& found);
  Values::iterator LocateValue(std::u16string_view name);
  /** The first entry whose value is not before `name`. Completes the index if the key has many values. */
  Index::iterator LocateEntry(std::u16string_view name);
  void MarkDeleted();

  std::u16string name_;
  Key* parent_;
  std::size_t level_;
  /** Owned by the root, used by all keys below it. */
  std::shared_ptr<Shared> ownShared_;
  Shared* shared_;
  KeySource* source_ = nullptr;
  std::size_t place_ = 0;
  std::vector<std::shared_ptr<Key>> subKeys_;
  /** Behind the subkey that was found last, where a caller that follows a listing looks next. */
  std::size_t nextPosition_ = 0;
  Values values_;
  /** Has all values, or none: a key with few values needs no index. */
  Index index_;
};

}  // namespace simulated
