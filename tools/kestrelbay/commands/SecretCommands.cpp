#include <array>
#include <cstring>
#include <memory>
#include <nlohmann/json.hpp>

#include "KestrelbayGeneralSDK.h"
#include "commands/Command.h"
#include "console/DisplayText.h"
#include "console/Failure.h"
#include "console/SecretText.h"
#include "console/System.h"

namespace cli {
namespace {

constexpr std::size_t kMostPlainBytes = 1 << 20;
/** Base64 in lines of 64 characters takes 1.375 bytes for each byte. The rest is for a header. */
constexpr std::size_t kMostProtectedBytes = 2 * kMostPlainBytes;
constexpr std::size_t kLineEndBytes = 2;

/** A text of the library, wiped and released at the end. */
class LibraryText {
 public:
  using Operation = void (*)(const char*, char**);

  LibraryText(Operation operation, const SecretText& input) { operation(input.c_str(), &text_); }
  ~LibraryText() {
    Wipe(text_, Get().size());
    ReleaseDllStr(&text_);
  }
  LibraryText(const LibraryText&) = delete;
  LibraryText& operator=(const LibraryText&) = delete;

  std::string_view Get() const { return text_; }

 private:
  char* text_ = nullptr;
};

/** A secret in another form, such as a JSON string. Wiped when destroyed. */
struct WipedText {
  const std::string text;

  ~WipedText() { Wipe(const_cast<char*>(text.data()), text.size()); }
};

/**
 * Overwrites the unused stack below the caller, where functions that have returned leave their variables,
 * among them pieces of secrets. Copies leave their last bytes in vector registers too, which the dynamic
 * linker stores on the stack when it resolves a function: copies of zeros overwrite these registers.
 */
[[gnu::noinline]] void WipeUnusedStack() {
  std::array<char, std::size_t{64} * 1024> unused;
  Wipe(unused.data(), unused.size());
  constexpr std::size_t kHalf = unused.size() / 2;
  for (std::size_t size = 8; size <= kHalf; size *= 2)
    std::memcpy(unused.data(), unused.data() + kHalf, size);
  Wipe(unused.data(), unused.size());
}

struct StackWiper {
  ~StackWiper() { WipeUnusedStack(); }
};

/** One line end at the end belongs to the pipe or terminal, not to the text. */
void DropLineEnd(SecretText& text) {
  std::size_t size = text.Get().size();
  if (text.Get().ends_with('\n')) text.Resize(--size);
  if (text.Get().ends_with('\r')) text.Resize(--size);
}

void ReadInto(SecretText& input, const char* prompt, std::size_t mostBytes, const std::string& limit) {
  bool isWhole = true;
  if (IsInputTerminal()) {
    AskSecret(prompt, input);
  } else {
    isWhole = ReadInput(input);
  }
  DropLineEnd(input);
  const std::string_view text = input.Get();
  if (!isWhole || text.size() > mostBytes)
    throw Failure("standard input is longer than " + limit + "; send less");
  if (text.empty()) throw Failure("standard input is empty; pipe the text in, or type it");
  if (text.find('\0') != text.npos) {
    throw Failure("the text has a NUL character, which would end it; remove the NUL character");
  }
}

[[noreturn]] void RefuseToEncrypt() {
  const std::string problem = WriteProblem();
  throw Failure("the text could not be protected" +
                (problem.empty()
                     ? "; see the reason with --log"
                     : ": the machine has no MachineGuid, and a new one cannot be written: " + problem));
}

void EncryptInput(Session& session) {
  const StackWiper wiper;
  SecretText input(kMostPlainBytes + kLineEndBytes);
  ReadInto(input, "Text to protect: ", kMostPlainBytes, "a mebibyte");
  const LibraryText protectedText(&Encrypt, input);
  if (protectedText.Get().empty()) RefuseToEncrypt();
  if (session.json) {
    session.out.WriteJsonLine({{"protectedText", protectedText.Get()}});
  } else {
    session.out.Write(protectedText.Get());
  }
}

/** The content of a JSON string. The JSON library would leave copies of the secret in memory. */
std::string JsonString(std::string_view text) {
  constexpr std::size_t kMostBytes = 6;  // \u0000
  return ReplaceCharacters(text, kMostBytes, [](char32_t code) -> std::string {
    if (code == '"' || code == '\\') return {'\\', static_cast<char>(code)};
    if (!ActsOnTerminal(code)) return {};
    std::array<char, sizeof "\\u0000"> escape{};
    std::snprintf(escape.data(), escape.size(), "\\u%04x", static_cast<unsigned>(code) & 0xFFFF);
    return escape.data();
  });
}

void DecryptInput(Session& session) {
  const StackWiper wiper;
  SecretText input(kMostProtectedBytes + kLineEndBytes);
  ReadInto(input, "Protected text, in one line: ", kMostProtectedBytes, "a protected mebibyte");
  const LibraryText plain(&Decrypt, input);
  if (plain.Get().empty()) {
    throw Failure(
        "cannot decrypt: this is not a protected text, or it belongs to another user or machine; decrypt it "
        "as the user and on the machine that encrypted it");
  }
  if (plain.Get().size() > kMostPlainBytes)
    throw Failure("the secret is longer than a mebibyte; it is not shown");
  if (session.json) {
    const WipedText shown{JsonString(plain.Get())};
    session.out.Write("{\"text\":\"");
    session.out.WriteSecret(shown.text);
    session.out.Write("\"}\n");
  } else if (IsTerminal(Stream::Out)) {
    const WipedText shown{Printable(plain.Get())};
    session.out.WriteSecret(shown.text);
    session.out.Write("\n");
  } else {
    session.out.WriteSecret(plain.Get());
  }
}

}  // namespace

void AddEncrypt(CLI::App& app, Command& chosen) {
  CLI::App* command = app.add_subcommand("encrypt", "Protect a short secret, read from standard input");
  command->footer(
      "Prints a protected text for kestrelbay decrypt. On Windows only the same user on the same machine\n"
      "can decrypt it. On a simulated machine the key is computed from the machine's MachineGuid and the\n"
      "user's SID, so everybody who can read the machine directory can decrypt: use it for tests only. A\n"
      "machine without MachineGuid gets a random one first. If the value is changed or removed, the machine\n"
      "decrypts none of its earlier texts.\n"
      "The secret has at most one mebibyte. One line end at its end is dropped. On a terminal the secret is\n"
      "asked for and not shown.");
  command->callback([&chosen] { chosen = EncryptInput; });
}

void AddDecrypt(CLI::App& app, Command& chosen) {
  CLI::App* command = app.add_subcommand("decrypt", "Decrypt a protected text, read from standard input");
  command->footer("Prints the secret without changes. A line end is added on a terminal only.");
  command->callback([&chosen] { chosen = DecryptInput; });
}

}  // namespace cli
