/** A machine with executables to draw icons of. */
#pragma once

#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

#include "ExecutableFile.h"
#include "simulated/pictures/Picture.h"
#include "support/OnMachine.h"

namespace kestrelbay {

class Extraction : public OnMachine {
 protected:
  Extraction();
  ~Extraction() override;

  /** Makes a file on drive C. */
  void MakeFile(const std::string& contents, const std::string& name = "app.exe");
  /** Makes C:\app.exe, with an icon of these images. */
  void MakeProgram(const std::vector<samples::IconBytes>& images);

  /** What IconToPngBase64 makes of C:\app.exe, decoded; empty for a failure. */
  static simulated::Picture Draw();

  /** Nothing is left open but streams, of which the library leaves those that nothing was saved into. */
  void ExpectClosed(std::size_t streams = 0);

  static const std::u16string kPath;

 private:
  std::filesystem::path drive;
};

/** The names of the calls; runs of the same one count as one. */
std::vector<std::string> NamesOf(const std::vector<std::string>& calls);

/** Calls of one operation, with arguments and result. */
std::vector<std::string> CallsTo(const std::string& name, const std::vector<std::string>& calls);

/** Bytes of a base64 text that is made right; a NUL ends it. */
std::vector<std::uint8_t> FromBase64(const std::string& text);

}  // namespace kestrelbay
