/**
 * A key of the simulated registry: its name, its values, its sub keys.
 *
 * Names keep their case and are compared without it. Sub keys stand in Windows' order: upper-cased one
 * character at a time, compared by code unit; or, in a tree that lists as made, in the order in which they
 * were made, for a machine whose own order is another one. A key may be filled only when it is first looked
 * into, so that a volume's hives cost what is read of them and no more.
 *
 * Keys are owned by their parent and keep their address until they are deleted; an open handle keeps a
 * deleted key, though empty of meaning, in memory. They take no lock: the registry that owns the tree does.
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

/** Where keys come from that are read when they are first looked into, such as a hive. */
class KeySource {
 public:
  virtual ~KeySource() = default;
  /** Gives the key its values and sub keys. @param place  as told to Key::FillLater */
  virtual void Fill(Key& key, std::size_t place) = 0;
};

/** A value as it is stored; the views are good until the key changes. */
struct ValueView {
  std::u16string_view name;
  platform::DWORD type;
  std::span<const std::uint8_t> bytes;
};

class Key : public std::enable_shared_from_this<Key> {
 public:
  /** Windows' own limits: characters of a name, and keys above one another. */
  static constexpr std::size_t kLongestName = 255;
  static constexpr std::size_t kDeepestLevel = 512;

  explicit Key(std::u16string_view name, Key* parent = nullptr);
  ~Key();
  Key(const Key&) = delete;
  Key& operator=(const Key&) = delete;

  const std::u16string& Name() const;
  Key* Parent() const;

  /** Has `source` fill this key before its values or sub keys are first looked at. */
  void FillLater(KeySource& source, std::size_t place);
  /** Keeps what fills keys of the tree for as long as there is the tree. */
  void KeepSource(std::shared_ptr<KeySource> source);

  /**
   * From now on the whole tree lists sub keys in the order in which they are made. Keys that are made already
   * go on listing theirs as they stand.
   */
  void ListAsMade();

  std::size_t SubKeyCount();
  Key& SubKeyAt(std::size_t index);
  Key* FindSubKey(std::u16string_view name);
  /**
   * The sub key of that name, made if need be.
   * @throws std::length_error for a name that is empty or too long, or a key too deep, for Windows
   */
  Key& CreateSubKey(std::u16string_view name);
  /** Removes the sub key and all below it. @return false where there is none */
  bool RemoveSubKey(std::u16string_view name);

  std::size_t ValueCount();
  /** Values stand in the order in which they were first set. */
  ValueView ValueAt(std::size_t index);
  /** @param name empty for the unnamed value @return false where there is none */
  bool FindValue(std::u16string_view name, ValueView& value);
  /** @param bytes copied; not this key's own, as a view shows them */
  void SetValue(std::u16string_view name, platform::DWORD type, std::span<const std::uint8_t> bytes);
  /** Sets a value that the key does not have, without a search for it. REQUIRES: no value of that name. */
  void AddValue(std::u16string_view name, platform::DWORD type, std::span<const std::uint8_t> bytes);
  bool RemoveValue(std::u16string_view name);

  /** Those of the whole tree; each change above tells them of itself. */
  Watches& TreeWatches();

  /** 100-nanosecond steps since 1601-01-01 UTC; 0 where nothing is known. */
  std::uint64_t lastWriteTime = 0;
  /** Rights refused on this key alone: bits of KEY_READ and its like, and DELETE (0x10000). */
  platform::DWORD deniedRights = 0;
  /** Raised when the key is taken out of the tree: handles that still refer to it then fail. */
  bool deleted = false;

 private:
  /** A value in the key's table; its bytes stand in the key's one block. */
  struct Value {
    std::uint32_t name;
    std::uint32_t spelling;
    platform::DWORD type;
    std::uint32_t offset;
    std::uint32_t size;
  };
  using Values = std::vector<Value>;
  /** Begins with the start of its name, so that a search among thousands looks into few of them. */
  struct SubKey {
    std::uint64_t firstUnits;
    std::shared_ptr<Key> key;
  };
  struct Shared;

  void Fill();
  /** Of a tree that lists as made: the sub keys in that order. */
  std::vector<Key*>& Listing();
  void TellWatches(platform::DWORD kind);
  std::size_t PositionOf(std::u16string_view name, bool& found);
  Values::iterator LocateValue(std::u16string_view name);
  ValueView ViewOf(const Value& value) const;
  void PutBytes(Value& value, platform::DWORD type, std::span<const std::uint8_t> bytes);
  void DropBytes(const Value& value);
  void MarkDeleted();

  std::u16string name_;
  Key* parent_;
  std::size_t level_;
  /** The root's own, shared by all keys below it. */
  std::shared_ptr<Shared> ownShared_;
  Shared* shared_;
  KeySource* source_ = nullptr;
  std::size_t place_ = 0;
  std::vector<SubKey> subKeys_;
  /** Where the next sub key is likely to be asked for: behind the last one found. */
  std::size_t nextPosition_ = 0;
  Values values_;
  std::vector<std::uint8_t> bytes_;
};

}  // namespace simulated
