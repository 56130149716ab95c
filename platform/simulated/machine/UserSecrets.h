/** The data protection of a simulated machine. */
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "platform/Types.h"

namespace simulated {

/**
 * Encrypts and decrypts for one user of one machine.
 *
 * The key is derived from the two identities and is stored nowhere, so a copy of a machine directory gives
 * the same answers everywhere. The key does not protect from a person who can read the machine directory.
 */
class UserSecrets {
 public:
  /**
   * @param machineId  of a machine that has none, empty: it can protect nothing and unprotects nothing,
   * because all such machines would share a key
   */
  UserSecrets(std::u16string_view machineId, std::u16string_view userSid);
  /** Wipes the key. */
  ~UserSecrets();
  UserSecrets(const UserSecrets&) = delete;
  UserSecrets& operator=(const UserSecrets&) = delete;

  /** REQUIRES: the machine has an identity. The same bytes never give the same blob twice. */
  std::vector<std::uint8_t> Protect(std::span<const std::uint8_t> plain) const;
  /**
   * @param plain  receives the bytes; untouched on failure
   * @return 0, ERROR_INVALID_DATA for bytes that are not an intact blob, NTE_BAD_KEY_STATE for a blob of
   * another user
   */
  platform::DWORD Unprotect(std::span<const std::uint8_t> blob, std::vector<std::uint8_t>& plain) const;

 private:
  bool isOfAMachine_;
  std::vector<std::uint8_t> key_;
  /** Says whose a blob is, without the key. */
  std::vector<std::uint8_t> keyId_;
};

/** A new random identity of a machine, in the form of Windows' MachineGuid. */
std::u16string NewMachineId();

}  // namespace simulated
