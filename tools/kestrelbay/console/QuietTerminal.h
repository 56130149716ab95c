/** A terminal that does not show what is typed. */
#pragma once

#include <termios.h>

namespace cli {

/**
 * Turns the echo of the terminal on standard input off, and on again at the end. A signal that ends or stops
 * the process turns the echo on first; when a stopped process continues, the echo goes off again. In the
 * background the terminal stays as it is, because another program has it. At most one object exists at a
 * time. Not thread-safe.
 */
class QuietTerminal {
 public:
  QuietTerminal();
  ~QuietTerminal();
  QuietTerminal(const QuietTerminal&) = delete;
  QuietTerminal& operator=(const QuietTerminal&) = delete;

  /**
   * Turns the echo off again. To be called when a signal has interrupted a read: the process may have
   * continued in the background. There the system stops it, until it has the terminal again.
   */
  void HideAgain() const;

 private:
  bool isQuiet_;
};

}  // namespace cli
