// Traces of a secret in memory: on the stack of the calling thread, and in freed blocks.
#include <gtest/gtest.h>
#include <malloc.h>
#include <pthread.h>

#include <algorithm>
#include <cstdlib>
#include <functional>
#include <new>
#include <string_view>
#include <vector>

#include "KestrelbayGeneralSDK.h"
#include "protection/Security.h"
#include "simulated/directory/CurrentMachine.h"

namespace {

/** Reads byte by byte, also memory that no object owns any more, so that the read makes no copy. */
__attribute__((no_sanitize("address"))) std::size_t CountOf(std::string_view text, const char* bytes,
                                                            std::size_t count) {
  std::size_t found = 0;
  for (std::size_t at = 0; at + text.size() <= count; ++at) {
    std::size_t same = 0;
    while (same < text.size() && bytes[at + same] == text[same]) ++same;
    found += same == text.size();
  }
  return found;
}

/** The text to search for in freed blocks; empty to search for nothing. */
std::string_view sought;
std::size_t blocksThatHeldIt = 0;
[[maybe_unused]] bool leavesMarks = false;

constexpr std::string_view kMark = "left by the allocator";

/** Leaves a mark on the stack, as an allocator may leave parts of a block there. */
__attribute__((noinline)) void LeaveMark() {
  volatile char bytes[512];
  for (std::size_t at = 0; at < sizeof bytes; ++at) bytes[at] = kMark[at % kMark.size()];
}

void Free(void* block) {
  if (leavesMarks) LeaveMark();
  if (block && !sought.empty()) {
    blocksThatHeldIt += CountOf(sought, static_cast<char*>(block), malloc_usable_size(block)) != 0;
  }
  std::free(block);
}

}  // namespace

void* operator new(std::size_t bytes) {
  if (void* const block = std::malloc(bytes == 0 ? 1 : bytes)) return block;
  throw std::bad_alloc();
}
void operator delete(void* block) noexcept { Free(block); }
void operator delete(void* block, std::size_t) noexcept { Free(block); }

namespace kestrelbay {
namespace {

/** Leaves a copy of a text in a part of the stack that later calls do not use. */
__attribute__((noinline)) void Forget(std::string_view text) {
  volatile char room[8192];
  room[0] = 0;
  const std::string copy(text);
  asm volatile("" : : "r"(&copy), "r"(&room) : "memory");  // the compiler must assume a read of it
}

/** Runs a function on a thread whose stack can be read afterwards. */
class OpenStack {
 public:
  void Run(std::function<void()> action) {
    pthread_attr_t attributes;
    pthread_t thread;
    pthread_attr_init(&attributes);
    pthread_attr_setstack(&attributes, bytes.data(), bytes.size());
    ASSERT_EQ(pthread_create(&thread, &attributes, &OpenStack::Call, &action), 0);
    pthread_join(thread, nullptr);
    pthread_attr_destroy(&attributes);
  }
  std::size_t Count(std::string_view text) const { return CountOf(text, bytes.data(), bytes.size()); }
  /** @return the number of pieces of a text that are found anywhere on the stack */
  std::size_t CountPieces(std::string_view text) const {
    constexpr std::size_t kPieceChars = 8;
    std::size_t pieces = 0;
    for (std::size_t at = 0; at + kPieceChars <= text.size(); at += kPieceChars)
      pieces += Count(text.substr(at, kPieceChars)) != 0;
    return pieces;
  }

 private:
  static void* Call(void* action) {
    (*static_cast<std::function<void()>*>(action))();
    return nullptr;
  }

  std::vector<char> bytes = std::vector<char>(1 << 20);
};

// Short enough to be stored inside a text object, too long for that, and longer than the parts that ciphers
// and copies use at a time. No eight characters of the last one repeat.
constexpr std::string_view kSecrets[] = {"pin 83-5541-07", "correct horse battery staple, and then some more",
                                         "The otter at the weir sold us forty jars of quince jam, eleven "
                                         "brass hinges, a kite with no tail, two maps of "
                                         "places that never were, some chalk; later it asked for a receipt, "
                                         "signed in green ink by the miller's aunt, and "
                                         "when she would not, it swam home upstream under a paper umbrella, "
                                         "humming the tune about bells & herrings. 9041"};

class SecretTraces : public testing::TestWithParam<std::string_view> {
 protected:
  SecretTraces() {
    simulated::UseMachine(std::make_unique<simulated::Machine>());
    InitDllLogger([](const char*, std::int32_t, const char*) {});
  }
  ~SecretTraces() override {
    ReleaseDllStr(&hidden);
    ReleaseDllStr(&plain);
  }

  /** Counts the traces that `action` leaves. */
  void Watch(const std::function<void()>& action) {
    blocksThatHeldIt = 0;
    sought = GetParam();
    stack.Run(action);
    sought = {};
  }

  OpenStack stack;
  char* hidden = nullptr;
  char* plain = nullptr;
};

std::string NameOfSecret(const testing::TestParamInfo<std::string_view>& secret) {
  constexpr const char* kNames[] = {"AShortText", "ALongText", "AVeryLongText"};
  return kNames[secret.index];
}

INSTANTIATE_TEST_SUITE_P(Of, SecretTraces, testing::ValuesIn(kSecrets), NameOfSecret);

TEST_P(SecretTraces, AreFoundByThisTest) {
  Watch([] { Forget(GetParam()); });
  EXPECT_GE(stack.Count(GetParam()) + blocksThatHeldIt, 1U);
}

TEST_P(SecretTraces, AreWipedAfterAnEncryption) {
  Watch([this] { Encrypt(GetParam().data(), &hidden); });
  ASSERT_STRNE(hidden, "");
  EXPECT_EQ(stack.CountPieces(GetParam()), 0U);
  EXPECT_EQ(blocksThatHeldIt, 0U);
}

TEST_P(SecretTraces, AreWipedAfterADecryption) {
  Encrypt(GetParam().data(), &hidden);
  Watch([this] { Decrypt(hidden, &plain); });
  // Only the copy of the host remains.
  EXPECT_EQ(plain, GetParam());
  EXPECT_EQ(stack.CountPieces(GetParam()), 0U);
  EXPECT_EQ(blocksThatHeldIt, 0U);
}

// A sanitizer leaves gaps around the variables of a function, and a wipe of a variable does not reach them.
#ifndef __SANITIZE_ADDRESS__
TEST(SecretText, WipesTheStackAfterItsTextWasFreed) {
  OpenStack stack;
  stack.Run([] {
    {
      const SecretText text{std::string(kSecrets[1])};
      leavesMarks = true;
    }
    leavesMarks = false;
  });
  EXPECT_EQ(stack.Count(kMark), 0U);
}
#endif

TEST_P(SecretTraces, AreWipedWhenTheLogCallbackThrows) {
  InitDllLogger([](const char*, std::int32_t, const char* text) {
    if (std::string_view(text).find("enter ProtectData") != std::string_view::npos) throw 1;
  });
  Watch([this] { EXPECT_THROW(Encrypt(GetParam().data(), &hidden), int); });
  EXPECT_EQ(stack.Count(GetParam()), 0U);
  EXPECT_EQ(blocksThatHeldIt, 0U);
}

}  // namespace
}  // namespace kestrelbay
