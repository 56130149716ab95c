/**
 * What the command-line host needs of the system it runs on, and of the machine it acts on: on Windows this
 * computer, elsewhere a simulated machine. One of SystemWindows.cpp and SystemSimulated.cpp is built.
 *
 * All text is UTF-8.
 */
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace cli {

enum class Stream { Out, Error };

/** Whether a terminal shows what a person types. */
enum class Typing { Shown, Hidden };

/** What became of a write; ReaderGone is a pipe that nobody reads any more. */
enum class WriteResult { Done, ReaderGone, Failed };

/** Called with what is being told of a load that takes its time. */
struct LoadObserver {
  std::function<void(std::uint64_t doneBytes, std::uint64_t allBytes)> progress;
  /** One line on something that is left out while the rest loads. */
  std::function<void(const std::string& line)> warning;
  /** The same of what is damaged: answers may lack what stood there. */
  std::function<void(const std::string& line)> damage;
};

/**
 * Prepares the process; to be called before anything else.
 * @return the command line's arguments without the program's name
 */
std::vector<std::string> Start(int argc, char** argv);

bool IsTerminal(Stream stream);
/** Whether the terminal there understands colour sequences. */
bool CanColour(Stream stream);
/** Width of the terminal on standard output in character cells; 80 where there is none or it tells nothing.
 */
int TerminalColumns();
inline constexpr int kUsualColumns = 80;

/**
 * Writes all of `bytes` at once, with no buffer of its own. Safe to call from any thread.
 * @param reason  receives why a write Failed
 */
WriteResult Write(Stream stream, std::string_view bytes, std::string& reason);

/** Whether a person can be asked. */
bool IsInputTerminal();

/**
 * Asks a person on the terminal of standard input. The question goes to standard error.
 * @return the line without its end; empty where there is none any more
 */
std::string AskLine(const std::string& question, Typing typing);

/** All bytes of standard input. @throws Failure where they cannot be read, or are more than a mebibyte */
std::string ReadInput();

/** UTF-8 of a text in the system's ANSI code page. */
std::string FromAnsi(std::string_view text);

/** The small letter of a character; the character itself where it has none. */
char32_t ToLower(char32_t character);

/**
 * Makes the library act on a machine.
 * @param directory  a described machine, whose changes last; nothing for the machine at hand: this computer,
 *                   or the sample that is installed with the program and stays as it is
 * @throws Failure
 */
void OpenMachine(const std::optional<std::string>& directory, const LoadObserver& observer);

/**
 * Makes the library act on another simulated machine, to look at it: nothing that is done to it lasts.
 * @throws Failure, always on Windows
 */
void OpenMachineToRead(const std::string& directory, const LoadObserver& observer);

/** How offline Windows volumes are opened. */
struct VolumeOptions {
  /** Changes that are only in a hive's logs are applied in memory. */
  bool recovers = true;
  /** The SID or the profile's folder whose hive is HKEY_CURRENT_USER; nothing for the first person. */
  std::optional<std::string> user;
};

/** Applies to each machine that is opened from now on. On Windows there are no volumes. */
void SetVolumeOptions(VolumeOptions options);

/** A hive of a volume: where the registry has it, and what was recovered. */
struct RecoveredHive {
  std::string key;
  std::size_t entries = 0;
  std::string newestChange;
  /** What it lacks all the same; empty if nothing. */
  std::string loss;
};

struct VolumeDescription {
  /** Name, version and build; empty if the volume does not name its Windows. */
  std::string windows;
  bool is32Bit = false;
  /** Those with log entries that were applied, or with a loss. */
  std::vector<RecoveredHive> recovered;
};

/** Nothing if the machine is no offline Windows volume. */
std::optional<VolumeDescription> DescribeVolume();

/** From now on Ctrl-C is noted and does not end the process; a second one does. */
void CatchInterrupt();
bool WasInterrupted();

/**
 * Why a change of the machine could not be written, and where, in one line for a person; empty if all could.
 * Always empty on Windows, where a change that fails is the installer's own affair.
 */
std::string WriteProblem();

/**
 * Waits, before the process ends, for what it keeps running: the programs that still run on a simulated
 * machine and would end with it. Ctrl-C does not wait.
 */
void LeaveMachine();

}  // namespace cli
