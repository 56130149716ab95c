/*
 * KestrelbayGeneral for C++17: the functions of KestrelbayGeneralSDK.h without their traps.
 *
 *     kestrelbay::host::Library& library = kestrelbay::host::Library::Get();
 *     for (const auto& app : library.List()) std::cout << app.name << '\n';
 *     std::cout << library.Install({"C:\\setup.exe", "Example"}).get().message << '\n';
 *
 * Every text is UTF-8. A text with a null character, or too long for a field, raises std::invalid_argument.
 * Lack of memory raises std::bad_alloc; a thread that cannot be started raises std::system_error. All
 * functions are thread-safe. One module of a process may include this header: another DLL would have a second
 * queue of records and a second order of jobs. Needs g++, or clang++ with libstdc++: another compiler cannot
 * catch the library's exceptions and uses KestrelbayGuard.h. On Windows the host links ole32.
 */
#ifndef KESTRELBAY_GENERAL_HPP
#define KESTRELBAY_GENERAL_HPP

#if defined(_MSC_VER)
#error "This compiler cannot catch the library's exceptions: use KestrelbayGuard.h"
#endif

#include <KestrelbayGeneralSDK.h>
#include <KestrelbayGeneralJobs.hpp>
#include <KestrelbayGeneralTypes.hpp>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <deque>
#include <future>
#include <memory>
#include <mutex>
#include <new>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <thread>
#include <utility>
#include <vector>

#if !defined(__GLIBCXX__)
#error "Another C++ library than libstdc++ cannot catch the library's exceptions: use KestrelbayGuard.h"
#endif

namespace kestrelbay::host {

namespace detail {

inline std::string Checked(std::string_view text, const char* what) {
  if (text.find('\0') != text.npos)
    throw std::invalid_argument(std::string(what) + " contains a null character");
  return std::string(text);
}

inline std::string CheckedPath(std::string_view path, const char* what) {
  if (path.find('"') != path.npos)
    throw std::invalid_argument(std::string(what) + " contains a quotation mark: remove it");
  return Checked(path, what);
}

template <std::size_t kBytes>
void Fill(char (&field)[kBytes], const std::string& text, const char* what) {
  const std::string checked = Checked(text, what);
  if (checked.size() >= kBytes) {
    throw std::invalid_argument(std::string(what) + " has " + std::to_string(checked.size()) +
                                " bytes, but at most " + std::to_string(kBytes - 1) +
                                " are possible: shorten it");
  }
  std::memcpy(field, checked.c_str(), checked.size() + 1);
}

/** Records wait here until the host takes them, so the library never waits for the host. */
class LogQueue {
 public:
  static LogQueue& Get() {
    // Never destroyed: threads of the library may log until the process ends.
    static LogQueue& queue = *new LogQueue;
    return queue;
  }
  static void Add(const char* file, std::int32_t level, const char* text) {
    // An exception must not leave a callback: without memory the record is dropped.
    try {
      LogQueue& queue = Get();
      const std::lock_guard<std::mutex> held(queue.mutex);
      queue.records.push_back({file, level, text});
      if (queue.records.size() > kMaxRecords) queue.records.pop_front();
    } catch (const std::bad_alloc&) {
    }
  }
  std::vector<LogRecord> Take() {
    const std::lock_guard<std::mutex> held(mutex);
    std::vector<LogRecord> taken(records.begin(), records.end());
    records.clear();
    return taken;
  }

 private:
  static constexpr std::size_t kMaxRecords = 4096;
  std::mutex mutex;
  std::deque<LogRecord> records;
};

/** An allocated list, released whether or not it was filled. */
struct RawList {
  InstalledAppEntry* entries = nullptr;
  std::uint32_t count = 0;

  RawList() = default;
  RawList(const RawList&) = delete;
  RawList& operator=(const RawList&) = delete;
  ~RawList() {
    // The release logs, which needs memory. If memory is short, the list is leaked.
    try {
      ReleaseInstalledAppList(&entries, static_cast<std::int32_t>(count));
    } catch (const std::bad_alloc&) {
    }
  }
};

inline std::string TextOf(const char* text) {
  if (!text) throw std::bad_alloc();
  return text;
}

/** Nothing if the time could not be read, or if the clock has no such time. */
inline std::optional<std::chrono::system_clock::time_point> TimeOf(const std::string& milliseconds) {
  using Clock = std::chrono::system_clock;
  using Duration = std::chrono::milliseconds;
  constexpr Duration kNeverWritten(-11644473600000);
  const Duration time(std::stoll(milliseconds));
  const bool isInRange = time >= std::chrono::duration_cast<Duration>(Clock::duration::min()) &&
                         time <= std::chrono::duration_cast<Duration>(Clock::duration::max());
  if (time == kNeverWritten || !isInRange) return std::nullopt;
  return Clock::time_point(time);
}

inline App ToApp(const InstalledAppEntry& entry) {
  App app;
  app.name = TextOf(entry.displayName);
  app.version = TextOf(entry.displayVersion);
  app.location = TextOf(entry.installLocation);
  app.installDate = TextOf(entry.installDate);
  app.iconSource = TextOf(entry.displayIcon);
  app.iconText = TextOf(entry.iconText);
  app.architecture = entry.architecture;
  app.changed = TimeOf(TextOf(entry.lastWriteTime));
  return app;
}

}  // namespace detail

/** Ends the waits of all jobs. Stopping is permanent: afterwards this process cannot start a job. */
class PermanentStop {
 public:
  void StopForTheLifeOfThisProcess() {
    isStopped = true;
    SetStopAppEvent();
  }

 private:
  friend class Library;
  std::atomic<bool> isStopped{false};
};

/** The library. The one object is made on first use, sets up the log, and is never destroyed. */
class Library {
 public:
  static Library& Get() {
    static Library& library = *new Library;
    return library;
  }
  Library(const Library&) = delete;
  Library& operator=(const Library&) = delete;

  /** Takes the log records since the last call; at most the newest 4096. */
  std::vector<LogRecord> TakeLog() { return detail::LogQueue::Get().Take(); }

  /** Lists the installed applications, sorted by name. */
  std::vector<App> List(bool includeIcons = false) {
    std::optional<detail::Apartment> apartment;
    if (includeIcons) apartment.emplace();
    detail::RawList list;
    GetInstalledAppList(&list.entries, &list.count, includeIcons);
    std::vector<App> apps;
    apps.reserve(list.count);
    for (std::uint32_t i = 0; i < list.count; ++i) apps.push_back(detail::ToApp(list.entries[i]));
    return apps;
  }
  /** Runs List on a new thread. The future rethrows an exception of List. */
  std::future<std::vector<App>> ListAsync(bool includeIcons = false) {
    return std::async(std::launch::async, [=] { return Get().List(includeIcons); });
  }

  std::optional<std::string> Manufacturer() { return Fact(&GetManufacturer); }
  std::optional<std::string> DeviceId() { return Fact(&GetDeviceId); }
  std::optional<std::string> ProductName() { return Fact(&GetProductName); }
  std::optional<std::string> Graphics() { return Fact(&GetGraphics); }
  /** Nothing if the proxy is off or the user's setting is missing or invalid. */
  std::optional<std::string> Proxy() {
    return Setting([] { return Fact(&GetProxyServer); });
  }
  /** Nothing if the machine's setting is missing or invalid. */
  std::optional<bool> IsTablet() {
    return Setting([] { return std::optional<bool>(IsTabletPC()); });
  }
  /** Version of an application; nothing if it is not installed or has none. */
  std::optional<std::string> Version(std::string_view name) {
    const std::string checked = detail::Checked(name, "the name");
    return Fact([&](char* buffer, std::int32_t* size) {
      return GetAppVersion(checked.c_str(), nullptr, buffer, size);
    });
  }
  /** Mebibytes free to the calling user. */
  std::optional<std::int64_t> FreeSpace(char drive) {
    const char path[] = {drive, '\0'};
    const std::int64_t mebibytes = GetDiskAvailableSpace(path);
    return mebibytes < 0 ? std::nullopt : std::optional(mebibytes);
  }

  /**
   * Starts an installation. Installations run one after another. The future is ready half a second after the
   * end of the job, when the job's thread has left the library. The future's destructor waits for that. It
   * has std::logic_error if PermanentStop came before the job's turn. If the shell starts the installer
   * without a handle of its process, the job does not wait for it.
   */
  [[nodiscard]] std::future<Outcome> Install(const InstallOrder& order) {
    auto job = std::make_unique<detail::Job<InstallRequest>>();
    const char* const what = "the installer's path";
    detail::Fill(job->request.installerPath, detail::CheckedPath(order.installer, what), what);
    detail::Fill(job->request.displayName, order.name, "the name");
    detail::Fill(job->request.installerParams, order.parameters, "the parameter text");
    return Start(std::move(job), installs, &::Install);
  }
  /**
   * Starts an uninstallation, in the same way as Install. If its user cancels it, it waits until
   * PermanentStop ends the wait.
   */
  [[nodiscard]] std::future<Outcome> Uninstall(const std::string& name) {
    auto job = std::make_unique<detail::Job<UninstallRequest>>();
    detail::Fill(job->request.displayName, name, "the name");
    return Start(std::move(job), removals, &::Uninstall);
  }
  PermanentStop& Stop() { return stop; }

  /**
   * Starts an installed application. Blocks while a person answers the prompt for elevation. Leaves COM
   * initialised on this thread, single-threaded.
   */
  bool StartInstalled(std::string_view name, std::string_view alias = {}) {
    return StartApp(detail::Checked(name, "the name").c_str(), detail::Checked(alias, "the alias").c_str()) ==
           1;
  }
  /** Starts a program without elevation. */
  bool Run(std::string_view path, std::string_view arguments = {}) {
    return StartAnyExe(detail::CheckedPath(path, "the path").c_str(),
                       detail::Checked(arguments, "the arguments").c_str());
  }
  /**
   * Deletes the first entry of List() with this name; false for an unknown one. True may only mean that an
   * elevated command was started. Blocks as StartInstalled. Raises std::invalid_argument for an entry of a
   * user or of the 32-bit view: for it, the library deletes nothing, or the entry of another application.
   */
  bool Forget(std::string_view name) {
    const std::string checked = detail::Checked(name, "the name");
    const std::vector<App> apps = List();
    const auto first =
        std::find_if(apps.begin(), apps.end(), [&](const App& app) { return app.name == name; });
    if (first != apps.end() && first->architecture != 2) {
      throw std::invalid_argument(
          "this entry is of a user or of the 32-bit view: the library cannot delete it");
    }
    const detail::Apartment apartment;
    return DeleteAppRegistryInfo(checked.c_str());
  }

  /** Protects a secret for this user on this machine; nothing on failure. */
  std::optional<std::string> Protect(const Secret& secret) {
    if (secret.View().empty()) throw std::invalid_argument("the secret is empty: it cannot be protected");
    if (secret.View().find('\0') != std::string_view::npos) {
      throw std::invalid_argument("the secret contains a null character");
    }
    const std::optional<Secret> text = Transform(&Encrypt, secret.View().data());
    if (!text) return std::nullopt;
    return std::string(text->View());
  }
  /** Returns the secret that Protect was called with; nothing on failure. */
  std::optional<Secret> Unprotect(std::string_view text) {
    return Transform(&Decrypt, detail::Checked(text, "the text").c_str());
  }

 private:
  Library() { InitDllLogger(&detail::LogQueue::Add); }

  /** Nothing if `read` meets a setting that is missing or invalid. */
  template <class Read>
  static auto Setting(Read read) -> decltype(read()) {
    try {
      return read();
    } catch (const std::invalid_argument&) {
    } catch (const std::out_of_range&) {
    }
    return std::nullopt;
  }

  template <class Function>
  static std::optional<std::string> Fact(Function function) {
    std::vector<char> buffer(65536);  // longer than any fact
    auto size = static_cast<std::int32_t>(buffer.size());
    if (!function(buffer.data(), &size)) return std::nullopt;
    return std::string(buffer.data(), static_cast<std::size_t>(size));
  }

  static std::optional<Secret> Transform(void (*function)(const char*, char**), const char* input) {
    struct Release {
      void operator()(char* text) const {
        Secret::Wipe(text, std::strlen(text));
        ReleaseDllStr(&text);
      }
    };
    char* output = nullptr;
    function(input, &output);
    if (!output) throw std::bad_alloc();
    const std::unique_ptr<char, Release> owned(output);
    if (!*output) return std::nullopt;
    return Secret(output);
  }

  static std::string VersionOf(const InstallRequest& request) {
    // A long version overruns its field, into the room behind the record.
    const char* const record = reinterpret_cast<const char*>(&request);
    return record + offsetof(InstallRequest, DisplayVersion);
  }
  static std::string VersionOf(const UninstallRequest&) { return {}; }

  template <class Request>
  std::future<Outcome> Start(std::unique_ptr<detail::Job<Request>> job, detail::Turns& turns,
                             void (*function)(Request*, void (*)(Request*))) {
    ThrowIfStopped();
    return turns.Queue([this, function, owned = std::move(job)]() mutable {
      // Again, because the host may have stopped all jobs while this one waited for its turn.
      ThrowIfStopped();
      return Perform(owned.release(), function);
    });
  }

  void ThrowIfStopped() const {
    if (stop.isStopped) throw std::logic_error("jobs were stopped for the life of this process");
  }

  /** Never frees the job: the library keeps its address, even after a failed start. */
  template <class Request>
  static Outcome Perform(detail::Job<Request>* job, void (*function)(Request*, void (*)(Request*))) {
    function(&job->request, &detail::Job<Request>::Finish);
    job->done.get_future().wait();
    // After this pause the job's thread has left the library, so the next job, or the end of main, is safe.
    std::this_thread::sleep_for(std::chrono::milliseconds(500));
    const Request& request = job->request;
    return {std::strcmp(request.Result, "Success") == 0, request.Result, request.ErrMsg, VersionOf(request)};
  }

  detail::Turns installs;
  detail::Turns removals;
  PermanentStop stop;
};

}  // namespace kestrelbay::host

#endif
