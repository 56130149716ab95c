/** A machine with executables that have icons. */
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

  /** Creates a file on drive C. */
  void MakeFile(const std::string& contents, const std::string& name = "app.exe");
  /** Creates C:\app.exe with an icon of these images. */
  void MakeProgram(const std::vector<samples::IconBytes>& images);

  /** @return the decoded result of IconToPngBase64 for C:\app.exe; empty after a failure */
  static simulated::Picture Draw();

  /** Checks that nothing stays open but streams: the library does not release a stream after a failed save.
   */
  void ExpectClosed(std::size_t streams = 0);

  static const std::u16string kPath;

 private:
  std::filesystem::path drive;
};

/** @return the names of the calls; equal names in a row count as one */
std::vector<std::string> NamesOf(const std::vector<std::string>& calls);

/** @return the calls of one operation, with arguments and result */
std::vector<std::string> CallsTo(const std::string& name, const std::vector<std::string>& calls);

/** @return the bytes of a correct base64 text, which a NUL ends */
std::vector<std::uint8_t> FromBase64(const std::string& text);

}  // namespace kestrelbay
