/**
 * The machine of a test, with the same functions on both bindings of the port: under Windows or Wine the real
 * machine, otherwise a simulated one.
 *
 * At most one TestMachine exists at a time. Its destructor deletes what it created, and restores values and
 * variables that it replaced, but not keys that it deleted. A failed preparation throws std::runtime_error,
 * so the test fails. Texts are UTF-16 without a NUL; contents of files and .reg texts are bytes. Not
 * thread-safe.
 */
#pragma once

#include <cstdint>
#include <memory>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "platform/Types.h"

namespace tests {

enum class View { Native, Bits32, Bits64 };

/** A key: the whole path, such as u"HKEY_LOCAL_MACHINE\\Software\\App", and the view in which it is opened.
 */
struct KeyPath {
  KeyPath(const char16_t* wholePath) : path(wholePath) {}        // NOLINT: a path converts to a key path
  KeyPath(const std::u16string& wholePath) : path(wholePath) {}  // NOLINT
  KeyPath(const std::u16string& wholePath, View viewOfIt) : path(wholePath), view(viewOfIt) {}

  std::u16string path;
  View view = View::Native;
};

/**
 * Whether others use this machine. A test then changes only keys and files that it made itself, and what
 * needs more throws NotOnThisMachine. A simulated machine is never in use;
 * tests/support/windows/MachineInUse.h has the rules for a real one.
 */
bool IsInUse();

/** A test cannot run on this machine: others use it, or rights are missing. It has changed nothing. */
class NotOnThisMachine : public std::runtime_error {
 public:
  explicit NotOnThisMachine(const std::string& reason) : runtime_error("not on this machine: " + reason) {}
};

/** The hive of a user below HKEY_USERS that tests add keys to; a machine in use takes no new one. */
std::u16string HiveOfTests();

/** One record of log.dll. The level is the letter D, I, W or E. */
struct LogRecord {
  char level;
  std::string file;
  std::string format;

  bool operator==(const LogRecord&) const = default;
};

/** One step of a program that a test creates. */
struct ProgramStep {
  enum class Kind { CreateKey, DeleteKey, SetText, DeleteValue, WaitForSignal, WaitForWatch };

  Kind kind;
  KeyPath key = u"";
  /** The name of the value, of the signal, or of the event that the watch of the key signals. */
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
   * Creates the key and its missing parents. Keeps a key that exists. The path may be longer than one
   * registry call allows.
   */
  void CreateKey(const KeyPath& key);
  /** Sets a value to exactly these bytes. Creates the key if it is missing. */
  void SetValue(const KeyPath& key, std::u16string_view name, platform::DWORD type,
                std::span<const std::uint8_t> bytes);
  /** Sets a REG_SZ, or another type of text, including its NUL. */
  void SetText(const KeyPath& key, std::u16string_view name, std::u16string_view text,
               platform::DWORD type = 1);
  /** Sets a REG_DWORD. */
  void SetNumber(const KeyPath& key, std::u16string_view name, std::uint32_t number);
  /** Deletes the key and all keys below it. @return false if it does not exist */
  bool DeleteKey(const KeyPath& key);
  /** Imports the text of a "Windows Registry Editor Version 5.00" file, UTF-8, into the native view. */
  void ImportReg(std::string_view regText);

  bool HasKey(const KeyPath& key);
  /** @return the names of the subkeys in the order of the registry; empty if the key does not exist */
  std::vector<std::u16string> SubKeyNames(const KeyPath& key);
  /** @return the uninstall keys of the machine, in both views, and of each user */
  std::vector<KeyPath> UninstallKeys();
  /** @return 100-nanosecond steps since 1601-01-01 UTC */
  std::uint64_t LastWriteTime(const KeyPath& key);
  /** @return false if the machine cannot do this, as under Windows */
  bool SetLastWriteTime(const KeyPath& key, std::uint64_t fileTime);

  /** Sets an environment variable of this process. */
  void SetVariable(std::u16string_view name, std::u16string_view value);

  /** Creates a mutex of that name. @return its handle, which the caller closes with CloseHandle */
  platform::HANDLE MakeMutex(const std::u16string& name);

  /** @return an empty folder for this test: a whole path without a trailing backslash */
  std::u16string Folder();
  /** Creates or replaces a file at a whole path. Creates missing folders. */
  void MakeFile(const std::u16string& path, std::string_view contents);
  /** Creates a program that leaves a mark and ends. */
  void MakeProgram(const std::u16string& path);
  /** Creates a program that does these steps, leaves a mark and ends. */
  void MakeProgram(const std::u16string& path, const std::vector<ProgramStep>& steps, int exitCode = 0);
  /** Releases the programs that wait for this signal, now or later. */
  void Signal(const std::u16string& name);
  /** @return whether the program at `path` was started and has left its mark */
  bool ProgramRan(const std::u16string& path);
  /** Waits for the mark of the program at `path`, which was started. */
  void WaitForProgram(const std::u16string& path);
  /** @return the parameters of the last start of the program at `path`, which has ended since */
  std::u16string ParametersOf(const std::u16string& path);

  /** @return the whole path of the running program */
  std::u16string HostPath();
  std::u16string CurrentDirectory();
  /** Sets the current directory until this machine is destroyed. */
  void Enter(const std::u16string& folder);

  /** @return the records of log.dll since this machine was created, in order */
  std::vector<LogRecord> LogRecords();
  /** Makes functions of the C runtime return an error if a buffer is too small, instead of ending the
   * process. */
  void IgnoreInvalidParameters();

 private:
  struct State;
  struct Signals;

  /** Runs the steps of a simulated program. */
  void Take(const ProgramStep& step);

  std::unique_ptr<Signals> signals;
  std::unique_ptr<State> state;
};

/** Closes each message box of the shell while it exists. */
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

/** @return the exit code of a process */
platform::DWORD ExitCodeOf(platform::HANDLE process);

/** @return whether this is Wine. Tests state its known gaps: EXPECT_EQ(!RunsOnWine(), isLikeWindows). */
bool RunsOnWine();

}  // namespace tests
