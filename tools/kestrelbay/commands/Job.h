/** A job of the library as a person follows it: what is listed before and after, the wait, Ctrl-C. */
#pragma once

#include <functional>
#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <string>

#include "commands/Command.h"

namespace cli {

/** The version that is listed under a name, which may be empty; nothing where the name is not listed. */
using ListedVersion = std::optional<std::string>;

ListedVersion FindListed(const std::string& name);

/** What became of an application, seen from the inventory. */
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
  /** Ctrl-C ended the wait: what was started goes on. */
  bool isStopped = false;
};

/**
 * Starts a job and waits for its report. On Ctrl-C it has the library stop waiting, and says what that means;
 * a second Ctrl-C ends the process.
 * @param doing    what is being done, for the line of progress
 * @param program  what is run, such as "installer"
 * @param start    calls the library with a callback that calls ReportJobEnd
 */
JobEnd FollowJob(const Session& session, const std::string& doing, const std::string& program,
                 const std::function<void()>& start);

/** Ends the wait of FollowJob. To be called from a callback, on any thread. */
void ReportJobEnd();

/**
 * The request of the one job of this process. It is never destroyed: the library may still look at it when it
 * has reported. There is room behind it: the library bounds what it copies into the last field by the text
 * alone.
 */
template <class Request>
Request& LastingRequest() {
  struct RoomyRequest : Request {
    char room[4096];
  };
  static auto& request = *new RoomyRequest{};
  return request;
}

/** Copies a text into a field of a request. @throws Failure where it does not fit, told as `what` */
template <std::size_t Size>
void FillField(char (&field)[Size], const std::string& text, const std::string& what);

/** Prints what a program reads: the fields of the record that the library wrote, and the change. */
void PrintJob(Session& session, nlohmann::ordered_json fields, const Change& change, const JobEnd& end);

void CheckLength(std::size_t bytes, std::size_t room, const std::string& what);

template <std::size_t Size>
void FillField(char (&field)[Size], const std::string& text, const std::string& what) {
  CheckLength(text.size(), Size, what);
  text.copy(field, text.size());
}

}  // namespace cli
