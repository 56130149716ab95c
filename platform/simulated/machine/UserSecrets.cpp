#include "simulated/machine/UserSecrets.h"

#include <sodium.h>

#include <algorithm>
#include <stdexcept>
#include <string>

#include "simulated/base/LastError.h"
#include "simulated/base/WideText.h"

namespace simulated {
namespace {

using Bytes = std::vector<std::uint8_t>;
using ByteView = std::span<const std::uint8_t>;

/** The first bytes of every blob. Blobs of Windows begin with other bytes. */
constexpr std::uint8_t kFormat[] = {'K', 'B', 'S', 1};
constexpr std::size_t kKeyIdBytes = 16;
static_assert(kKeyIdBytes >= crypto_generichash_BYTES_MIN);
constexpr std::size_t kNonceAt = sizeof kFormat + kKeyIdBytes;
/** libsodium leaves the first plain bytes on the stack, so as much of the stack is wiped. */
constexpr std::size_t kStackBytesOfOpening = 4096;
constexpr std::size_t kSealedAt = kNonceAt + crypto_secretbox_NONCEBYTES;

Bytes Hash(std::size_t hashBytes, const std::string& text, ByteView key = {}) {
  Bytes hash(hashBytes);
  crypto_generichash(hash.data(), hash.size(), reinterpret_cast<const std::uint8_t*>(text.data()),
                     text.size(), key.data(), key.size());
  return hash;
}

Bytes NewNonce() {
  Bytes nonce(crypto_secretbox_NONCEBYTES);
  randombytes_buf(nonce.data(), nonce.size());
  return nonce;
}

}  // namespace

UserSecrets::UserSecrets(std::u16string_view machineId, std::u16string_view userSid)
    : isOfAMachine_(!machineId.empty()) {
  if (sodium_init() < 0) throw std::runtime_error("libsodium finds no source of random numbers");
  // A SID has no NUL, so the last NUL is the separator, and different pairs give different texts.
  const std::string owner = ToUtf8(machineId) + '\0' + ToUtf8(userSid);
  key_ = Hash(crypto_secretbox_KEYBYTES, owner);
  keyId_ = Hash(kKeyIdBytes, "key id", key_);
}

UserSecrets::~UserSecrets() { sodium_memzero(key_.data(), key_.size()); }

Bytes UserSecrets::Protect(ByteView plain) const {
  const Bytes nonce = NewNonce();
  Bytes blob(std::begin(kFormat), std::end(kFormat));
  blob.insert(blob.end(), keyId_.begin(), keyId_.end());
  blob.insert(blob.end(), nonce.begin(), nonce.end());
  blob.resize(kSealedAt + crypto_secretbox_MACBYTES + plain.size());
  crypto_secretbox_easy(&blob[kSealedAt], plain.data(), plain.size(), nonce.data(), key_.data());
  return blob;
}

platform::DWORD UserSecrets::Unprotect(ByteView blob, Bytes& plain) const {
  if (blob.size() < kSealedAt + crypto_secretbox_MACBYTES) return kInvalidData;
  if (!std::ranges::equal(blob.first(sizeof kFormat), kFormat)) return kInvalidData;
  if (!isOfAMachine_ || !std::ranges::equal(blob.subspan(sizeof kFormat, kKeyIdBytes), keyId_))
    return kBadKeyState;
  const ByteView sealed = blob.subspan(kSealedAt);
  Bytes opened(sealed.size() - crypto_secretbox_MACBYTES);
  // libsodium needs an address also for no bytes.
  std::uint8_t none = 0;
  std::uint8_t* const target = opened.empty() ? &none : opened.data();
  const int opening =
      crypto_secretbox_open_easy(target, sealed.data(), sealed.size(), &blob[kNonceAt], key_.data());
  sodium_stackzero(kStackBytesOfOpening);
  if (opening != 0) return kInvalidData;
  plain = std::move(opened);
  return 0;
}

std::u16string NewMachineId() {
  if (sodium_init() < 0) throw std::runtime_error("libsodium finds no source of random numbers");
  // Version 4 of RFC 4122: 'x' is random, and 'y' is one of four digits.
  std::u16string id = u"xxxxxxxx-xxxx-4xxx-yxxx-xxxxxxxxxxxx";
  for (char16_t& unit : id) {
    if (unit == u'x') unit = u"0123456789abcdef"[randombytes_uniform(16)];
    if (unit == u'y') unit = u"89ab"[randombytes_uniform(4)];
  }
  return id;
}

}  // namespace simulated
