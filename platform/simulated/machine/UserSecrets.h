/** Bytes that only the same user of the same machine can read again. */
#pragma once

#include <cstdint>
#include <span>
#include <string_view>
#include <vector>

#include "platform/Types.h"

namespace simulated {

/**
 * Encrypts and decrypts for one user of one machine.
 *
 * The key is made of who they are and is kept nowhere, so that a machine directory that is copied, read-only
 * or locked by nobody gives the same answers everywhere. It keeps a secret from the machine's other users, as
 * programs see them, but not from a person who can read the machine directory.
 */
class UserSecrets {
 public:
  /** @param machineId, userSid  either may be empty */
  UserSecrets(std::u16string_view machineId, std::u16string_view userSid);
  /** Wipes the key. */
  ~UserSecrets();
  UserSecrets(const UserSecrets&) = delete;
  UserSecrets& operator=(const UserSecrets&) = delete;

  /** The same bytes never give the same blob twice. */
  std::vector<std::uint8_t> Protect(std::span<const std::uint8_t> plain) const;
  /**
   * @param plain  receives the bytes; untouched on failure
   * @return 0, ERROR_INVALID_DATA for what is damaged or no such blob, NTE_BAD_KEY_STATE for another's
   */
  platform::DWORD Unprotect(std::span<const std::uint8_t> blob, std::vector<std::uint8_t>& plain) const;

 private:
  std::vector<std::uint8_t> key_;
  /** Tells whose a blob is, without telling the key. */
  std::vector<std::uint8_t> keyId_;
};

}  // namespace simulated
