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

/** A text that the library handed out, wiped and given back. */
class LibraryText {
 public:
  using Operation = void (*)(const char*, char**);

  LibraryText(Operation operation, const std::string& input) { operation(input.c_str(), &text); }
  ~LibraryText() {
    Wipe(text, Get().size());
    ReleaseDllStr(&text);
  }
  LibraryText(const LibraryText&) = delete;
  LibraryText& operator=(const LibraryText&) = delete;

  std::string_view Get() const { return text; }

 private:
  char* text = nullptr;
};

/** One line end at the end belongs to the way that a text comes in, not to the text. */
void DropLineEnd(std::string& text) {
  if (text.ends_with('\n')) text.pop_back();
  if (text.ends_with('\r')) text.pop_back();
}

void ReadInto(SecretText& input, const char* prompt) {
  input.text = IsInputTerminal() ? AskLine(prompt, Typing::Hidden) : ReadInput();
  DropLineEnd(input.text);
  if (input.text.empty()) throw Failure("standard input is empty; pipe the text in, or type it");
  if (input.text.find('\0') != input.text.npos) {
    throw Failure("the text holds a NUL, behind which nothing would be kept; leave it out");
  }
}

void EncryptInput(Session& session) {
  SecretText input;
  ReadInto(input, "Text to protect: ");
  const LibraryText hidden(&Encrypt, input.text);
  if (hidden.Get().empty()) throw Failure("the text could not be protected; see why with --log");
  if (session.json) {
    session.out.WriteJsonLine({{"protectedText", hidden.Get()}});
  } else {
    session.out.Write(hidden.Get());
  }
}

void DecryptInput(Session& session) {
  SecretText input;
  ReadInto(input, "Protected text, in one line: ");
  const LibraryText plain(&Decrypt, input.text);
  if (plain.Get().empty()) {
    throw Failure(
        "nothing came back: this is no protected text, or another user's or machine's; decrypt it where it "
        "was encrypted");
  }
  if (session.json) {
    session.out.WriteJsonLine({{"text", plain.Get()}});
  } else if (IsTerminal(Stream::Out)) {
    session.out.Write(Printable(plain.Get()) + "\n");
  } else {
    session.out.Write(plain.Get());
  }
}

}  // namespace

void AddEncrypt(CLI::App& app, Command& chosen) {
  CLI::App* command = app.add_subcommand("encrypt", "Protect a short secret, read from standard input");
  command->footer(
      "What comes out can be turned back by the same user on the same machine alone. One line end at the\n"
      "end of the input is left out. On a terminal the secret is asked for and not shown.");
  command->callback([&chosen] { chosen = EncryptInput; });
}

void AddDecrypt(CLI::App& app, Command& chosen) {
  CLI::App* command = app.add_subcommand("decrypt", "Turn a protected text back, read from standard input");
  command->footer("The secret goes to standard output as it was, without a line end but on a terminal.");
  command->callback([&chosen] { chosen = DecryptInput; });
}

}  // namespace cli
