/** Follows an installation or an uninstallation: what is listed before and after, the wait, Ctrl-C. */
#pragma once

#include <functional>
#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <string>

#include "commands/Command.h"

namespace cli {

/** The version that is listed under a name. It may be empty; it is nullopt if the name is not listed. */
using ListedVersion = std::optional<std::string>;

ListedVersion FindListed(const std::string& name);

/** An application in the list before and after a job. */
struct Change {
  ListedVersion before;
  ListedVersion after;

  /** Such as "not installed -> 4.2". */
  std::string InWords() const;
  /** One of "none", "appeared", "still there", "version changed" and "gone". */
  std::string Kind() const;
};

/** How a job ended. */
struct JobEnd {
  /** Ctrl-C ended the wait. The program that was started goes on. */
  bool isStopped = false;
};

/**
 * Starts a job and waits for its report. On Ctrl-C it makes the library stop waiting and prints a warning; a
 * second Ctrl-C ends the process.
 * @param task     for the progress line, such as "Installing Alpha"
 * @param program  the program that is run, such as "installer"
 * @param start    calls the library with a callback that calls ReportJobEnd
 */
JobEnd FollowJob(const Session& session, const std::string& task, const std::string& program,
                 const std::function<void()>& start);

/** Ends the wait of FollowJob. Thread-safe; called from the callback of the library. */
void ReportJobEnd();

/** What a job that Ctrl-C stopped says in place of its verdict, because the program may still succeed. */
std::string StoppedText(const std::string& name, const std::string& program, const ListedVersion& version);

/**
 * Returns the request of the only job of this process. It is never destroyed, because the library may read it
 * after its report. There is room behind it, because the library bounds the copy into the last field by the
 * text and not by the field.
 */
template <class Request>
Request& LastingRequest() {
  struct RoomyRequest : Request {
    char room[4096];
  };
  static auto& request = *new RoomyRequest{};
  return request;
}

/** Copies a text into a field of a request. @throws Failure if it does not fit; `what` names the text */
template <std::size_t Size>
void FillField(char (&field)[Size], const std::string& text, const std::string& what);

/** Prints JSON: the fields of the record that the library filled, and the change. */
void PrintJob(Session& session, nlohmann::ordered_json fields, const Change& change, const JobEnd& end);

void CheckLength(std::size_t bytes, std::size_t capacityBytes, const std::string& what);

template <std::size_t Size>
void FillField(char (&field)[Size], const std::string& text, const std::string& what) {
  CheckLength(text.size(), Size, what);
  text.copy(field, text.size());
}

}  // namespace cli
