/**
 * The machine that a test acts on, prepared the same way whichever binding of the port is under test: the
 * real one under Windows or Wine, otherwise a simulated one of the test's own.
 *
 * One TestMachine at a time. What it makes is gone when it is destroyed, and values and variables that were
 * there before have what they had; keys that were there before and were deleted stay deleted. Whatever cannot
 * be prepared is thrown as std::runtime_error, so that the test fails. Texts are UTF-16 without a NUL, file
 * contents and .reg texts are bytes. A test uses it on one thread.
 */
#pragma once

#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "platform/Types.h"

namespace tests {

enum class View { Native, Bits32, Bits64 };

/** Where a key is: a whole path such as u"HKEY_LOCAL_MACHINE\\Software\\App", as one view of it has it. */
struct KeyPath {
  KeyPath(const char16_t* wholePath) : path(wholePath) {}        // NOLINT: a path is a key's place
  KeyPath(const std::u16string& wholePath) : path(wholePath) {}  // NOLINT
  KeyPath(const std::u16string& wholePath, View viewOfIt) : path(wholePath), view(viewOfIt) {}

  std::u16string path;
  View view = View::Native;
};

/** What log.dll was given: the level as the letter D, I, W or E. */
struct LogRecord {
  char level;
  std::string file;
  std::string format;

  bool operator==(const LogRecord&) const = default;
};

/** One thing that a program made for a test does when it runs. */
struct ProgramStep {
  enum class Kind { CreateKey, DeleteKey, SetText, DeleteValue, WaitForSignal, WaitForWatch };

  Kind kind;
  KeyPath key = u"";
  /** Of the value or the signal, or of the event that the watch of the key signals. */
  std::u16string name = {};
  std::u16string text = {};
};

class TestMachine {
 public:
  TestMachine();
  ~TestMachine();
  TestMachine(const TestMachine&) = delete;
  TestMachine& operator=(const TestMachine&) = delete;

  /**
   * Makes the key and those above it. A key that is there already stays as it is. The path may be longer than
   * an operation of the registry takes.
   */
  void CreateKey(const KeyPath& key);
  /** Sets a value, whose key is made if need be, to exactly these bytes. */
  void SetValue(const KeyPath& key, std::u16string_view name, platform::DWORD type,
                std::span<const std::uint8_t> bytes);
  /** Sets a REG_SZ, or another type of text, with its NUL. */
  void SetText(const KeyPath& key, std::u16string_view name, std::u16string_view text,
               platform::DWORD type = 1);
  /** Sets a REG_DWORD. */
  void SetNumber(const KeyPath& key, std::u16string_view name, std::uint32_t number);
  /** Deletes the key and all below it. @return false where there is none */
  bool DeleteKey(const KeyPath& key);
  /** Imports the text of a "Windows Registry Editor Version 5.00" file, UTF-8, into the native view. */
  void ImportReg(std::string_view regText);

  bool HasKey(const KeyPath& key);
  /** Sub keys by name, in the registry's order; none where there is no such key. */
  std::vector<std::u16string> SubKeyNames(const KeyPath& key);
  /** The uninstall keys that the machine has: the machine's in both views, and each user's. */
  std::vector<KeyPath> UninstallKeys();
  /** 100-nanosecond steps since 1601-01-01 UTC. */
  std::uint64_t LastWriteTime(const KeyPath& key);
  /** @return false where the machine has no way to do it, which is so under Windows */
  bool SetLastWriteTime(const KeyPath& key, std::uint64_t fileTime);

  /** Sets an environment variable of this process. */
  void SetVariable(std::u16string_view name, std::u16string_view value);

  /** Makes a mutex of that name. @return its handle, which the caller closes with CloseHandle */
  platform::HANDLE MakeMutex(const std::u16string& name);

  /** An empty folder of the test's own: a whole path without a trailing backslash. */
  std::u16string Folder();
  /** Makes a file at a whole path, with the folders above it; one that is there is replaced. */
  void MakeFile(const std::u16string& path, std::string_view contents);
  /** Makes a program that, when it is started, leaves a mark and ends. */
  void MakeProgram(const std::u16string& path);
  /** Makes a program that, when it is started, does these steps, leaves its mark and ends. */
  void MakeProgram(const std::u16string& path, const std::vector<ProgramStep>& steps, int exitCode = 0);
  /** Lets the programs go on that wait for this signal, now or later. */
  void Signal(const std::u16string& name);
  /** Whether the program made at `path` was started and has left its mark. */
  bool ProgramRan(const std::u16string& path);
  /** Waits until the program made at `path`, which was started, has left its mark. */
  void WaitForProgram(const std::u16string& path);
  /** What stood behind the name of the program made at `path` when it was started last; it has run since. */
  std::u16string ParametersOf(const std::u16string& path);

  /** Whole path of the running program. */
  std::u16string HostPath();
  std::u16string CurrentDirectory();
  /** Makes a folder the current directory, as long as this machine is there. */
  void Enter(const std::u16string& folder);

  /** What log.dll was given since this machine was made, in order. */
  std::vector<LogRecord> LogRecords();
  /** Lets operations of the C runtime that are given too little room answer with an error number. */
  void IgnoreInvalidParameters();

 private:
  struct State;
  struct Signals;

  /** What a simulated program does. */
  void Take(const ProgramStep& step);

  std::unique_ptr<Signals> signals;
  std::unique_ptr<State> state;
};

/** Answers each message that the shell shows a person, as long as it lives. */
class MessageCloser {
 public:
  MessageCloser();
  ~MessageCloser();
  MessageCloser(const MessageCloser&) = delete;
  MessageCloser& operator=(const MessageCloser&) = delete;

 private:
  struct State;
  std::unique_ptr<State> state;
};

/** What a process has ended with. */
platform::DWORD ExitCodeOf(platform::HANDLE process);

/** Whether this is Wine, whose known gaps a test states: EXPECT_EQ(!RunsOnWine(), whatWindowsDoes). */
bool RunsOnWine();

}  // namespace tests
