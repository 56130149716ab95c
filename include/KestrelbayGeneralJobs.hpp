/* Jobs and COM of KestrelbayGeneral.hpp, which includes this file. A host does not use it. */
#ifndef KESTRELBAY_GENERAL_JOBS_HPP
#define KESTRELBAY_GENERAL_JOBS_HPP

#include <KestrelbayGeneralTypes.hpp>

#include <condition_variable>
#include <cstdint>
#include <future>
#include <mutex>
#include <utility>

#ifdef _WIN32
// Of objbase.h, which would bring the macros of windows.h. Linked from ole32.
extern "C" __declspec(dllimport) long __stdcall CoInitializeEx(void* reserved, unsigned long model);
extern "C" __declspec(dllimport) void __stdcall CoUninitialize();
#endif

namespace kestrelbay::host::detail {

/** Initialises COM on this thread, single-threaded, if the host has not. Ends it when destroyed. */
class Apartment {
 public:
  Apartment(const Apartment&) = delete;
  Apartment& operator=(const Apartment&) = delete;
#ifdef _WIN32
  Apartment() : isOurs(CoInitializeEx(nullptr, 2) >= 0) {}  // COINIT_APARTMENTTHREADED
  ~Apartment() {
    if (isOurs) CoUninitialize();
  }

 private:
  bool isOurs;
#else
  Apartment() {}
#endif
};

/** Lets the jobs of one kind run one after another, in the order of their calls. */
class Turns {
 public:
  /** Runs `work` on a new thread after the jobs before it. */
  template <class Work>
  std::future<Outcome> Queue(Work work) {
    // Counts the job after its thread has started: a thread that cannot be started takes no turn.
    const std::lock_guard<std::mutex> held(mutex);
    std::future<Outcome> outcome =
        std::async(std::launch::async, [this, number = queued, own = std::move(work)]() mutable {
          const Turn turn(*this, number);
          return own();
        });
    ++queued;
    return outcome;
  }

 private:
  /** The turn of one job. Its destructor lets the next job run. */
  class Turn {
   public:
    Turn(Turns& all, std::uint64_t number) : turns(all) {
      std::unique_lock<std::mutex> held(turns.mutex);
      turns.changed.wait(held, [&] { return turns.current == number; });
    }
    Turn(const Turn&) = delete;
    Turn& operator=(const Turn&) = delete;
    ~Turn() {
      const std::lock_guard<std::mutex> held(turns.mutex);
      ++turns.current;
      turns.changed.notify_all();
    }

   private:
    Turns& turns;
  };

  std::mutex mutex;
  std::condition_variable changed;
  std::uint64_t queued = 0;
  std::uint64_t current = 0;
};

/** A request at a fixed address, with room for a version text that overruns it. */
template <class Request>
struct Job {
  Request request{};
  char room[1024]{};
  std::promise<void> done;

  static void Finish(Request* request) { reinterpret_cast<Job*>(request)->done.set_value(); }
};

}  // namespace kestrelbay::host::detail

#endif
