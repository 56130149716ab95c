/**
 * The operations of the operating system that the command line needs, and the machine it acts on: this
 * computer on Windows, a simulated machine elsewhere. SystemWindows.cpp or SystemSimulated.cpp implements
 * this header.
 *
 * All text is UTF-8.
 */
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace cli {

class SecretText;

enum class Stream { Out, Error };

/** ReaderGone: the output is a pipe whose reader has closed it. */
enum class WriteResult { Done, ReaderGone, Failed };

/**
 * Receives one line about something that is left out while the rest of a machine loads.
 * @param isDamage  whether the machine is damaged there, so that answers may be incomplete
 */
using LoadWarning = std::function<void(const std::string& line, bool isDamage)>;

/**
 * Prepares the process. Call it before anything else.
 * @return the arguments of the command line without the program's name
 */
std::vector<std::string> Start(int argc, char** argv);

bool IsTerminal(Stream stream);
/** Whether the terminal of `stream` understands colour sequences. */
bool CanColour(Stream stream);
/** Returns the width of the terminal on standard output in character cells; kUsualColumns if it is not known.
 */
int TerminalColumns();
inline constexpr int kUsualColumns = 80;

/**
 * Writes all of `bytes` without buffering. Thread-safe.
 * @param reason  receives why a write Failed
 */
WriteResult Write(Stream stream, std::string_view bytes, std::string& reason);

/** Whether standard input is a terminal, so that a person can answer. */
bool IsInputTerminal();

/**
 * Asks a person on the terminal of standard input. The question goes to standard error.
 * @return the line without its end; empty at the end of the input
 */
std::string AskLine(const std::string& question);

/**
 * The same, but the terminal does not show what is typed. A signal that ends or stops the process restores
 * the terminal first, unless another program has it.
 * @param secret  receives the line without its end, cut off at its capacity
 */
void AskSecret(const std::string& question, SecretText& secret);

/**
 * Reads all of standard input.
 * @param secret  receives the bytes
 * @return false if the input is longer than the capacity of `secret`
 * @throws Failure if standard input cannot be read
 */
bool ReadInput(SecretText& secret);

/** Overwrites memory. The compiler does not remove this, even if nobody reads the memory afterwards. */
void Wipe(void* bytes, std::size_t count);

/**
 * Creates a file that must not exist yet; links are not followed.
 * @param isPrivate  whether only the calling user may open the file, where files have such modes
 * @return null on failure, with errno set; the caller closes the file
 */
std::FILE* CreateNewFile(const std::filesystem::path& path, bool isPrivate);

/** Converts a text from the system's ANSI code page. */
std::string FromAnsi(std::string_view text);

/** Returns the lower-case form of a character, or the character itself if it has none. */
char32_t ToLower(char32_t character);

/**
 * Makes the library act on a machine. Shows the progress of a long load on standard error.
 * @param directory  a machine directory, whose changes last. Without it the library acts on this computer, or
 *                   on the installed sample machine, which stays unchanged.
 * @param warn       called during the load, and later if damage is found when a key is first used
 * @throws Failure
 */
void OpenMachine(const std::optional<std::string>& directory, const LoadWarning& warn);

/**
 * Makes the library act on another simulated machine to read it. Changes are discarded.
 * @throws Failure, always on Windows
 */
void OpenMachineToRead(const std::string& directory, const LoadWarning& warn);

/** How offline Windows volumes are opened. */
struct VolumeOptions {
  /** Whether changes that are only in the logs of a hive are applied in memory. */
  bool recovers = true;
  /** The SID or profile folder of the user whose hive is HKEY_CURRENT_USER; nullopt for the first person. */
  std::optional<std::string> user;
};

/** Sets the options of all machines that are opened later. Ignored on Windows, which opens no volumes. */
void SetVolumeOptions(VolumeOptions options);

/** A hive of a volume: its key in the registry, and what was recovered. */
struct RecoveredHive {
  std::string key;
  std::size_t entries = 0;
  std::string newestChange;
  /** The changes that could not be recovered; empty if there are none. */
  std::string loss;
};

struct VolumeDescription {
  /** Name, version and build; empty if the volume does not name its Windows. */
  std::string windows;
  bool is32Bit = false;
  /** The hives with log entries that were applied, or with a loss. */
  std::vector<RecoveredHive> recovered;
  /** What the answers so far may lack, one line each. */
  std::vector<std::string> damage;
};

/** Returns nullopt if the machine is not an offline Windows volume. */
std::optional<VolumeDescription> DescribeVolume();

/** From now on the first Ctrl-C is only noted; a second one ends the process. */
void CatchInterrupt();
bool WasInterrupted();

/**
 * Returns why and where a change of the machine could not be written, in one line for a person; empty if
 * there was no failure. Always empty on Windows.
 */
std::string WriteProblem();

/**
 * Makes all changes that `action` makes to the registry of a simulated machine last as one, or none of them.
 * WriteProblem() reports a failure. On Windows only calls `action`.
 */
void GroupChanges(const std::function<void()>& action);

/**
 * Waits until the programs of a simulated machine have ended, because they would end with this process.
 * Ctrl-C does not wait.
 */
void LeaveMachine();

}  // namespace cli
