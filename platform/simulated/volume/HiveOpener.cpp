#include "simulated/volume/HiveOpener.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdint>
#include <future>
#include <system_error>
#include <thread>

#include "simulated/base/MachineError.h"
#include "simulated/base/WholeFile.h"
#include "simulated/volume/HiveDamage.h"

namespace simulated {
namespace {

namespace fs = std::filesystem;

/** One hive on its way. Two threads work on it at a time, one at each half. */
class Opening {
 public:
  Opening(const fs::path& file, const LoadObserver& observer) : file_(file), observer_(observer) {
    try {
      mapped_ = std::make_shared<MappedFile>(file);
    } catch (const MachineError& error) {
      damage_ = error.what();
    }
  }

  std::uint64_t Bytes() const { return mapped_ ? mapped_->Span().size() : 0; }

  void Open(std::atomic<std::uint64_t>& doneBytes) {
    if (!mapped_) return;
    try {
      hive_ = Hive::Open(file_, mapped_, observer_);
    } catch (const MachineError& error) {
      openError_ = error.what();
    }
    doneBytes += Bytes();
  }

  void LookThrough(std::atomic<std::uint64_t>& doneBytes) {
    if (!mapped_) return;
    mapped_->FetchAll();
    if (const auto damage = FindHiveDamage(mapped_->Span(), doneBytes))
      damage_ = file_.string() + ": the hive is damaged: " + *damage + "; restore it from a backup";
  }

  OpenedHive Result() const {
    // What was found says more than the library's error.
    if (!damage_.empty()) return {file_, nullptr, damage_};
    return {file_, hive_, openError_};
  }

 private:
  const fs::path& file_;
  const LoadObserver& observer_;
  std::shared_ptr<const MappedFile> mapped_;
  std::shared_ptr<Hive> hive_;
  std::string openError_;
  std::string damage_;
};

class HiveOpener {
 public:
  HiveOpener(const std::vector<fs::path>& files, const LoadObserver& observer) : observer_(observer) {
    for (const fs::path& file : files) openings_.emplace_back(file, observer);
    for (Opening& opening : openings_) {
      allBytes_ += 2 * opening.Bytes();
      queue_.push_back(&opening);
    }
    // The largest takes longest, and must not be the last to begin.
    std::ranges::stable_sort(queue_, std::ranges::greater(), &Opening::Bytes);
  }

  void Run() {
    std::vector<std::future<void>> helpers = StartHelpers();
    if (helpers.empty()) Work();
    for (std::future<void>& helper : helpers) Watch(helper);
  }

  std::vector<OpenedHive> Results() const {
    std::vector<OpenedHive> results;
    for (const Opening& opening : openings_) results.push_back(opening.Result());
    return results;
  }

 private:
  /** As many as there are cores: this thread waits, and tells a person how far all are. */
  std::vector<std::future<void>> StartHelpers() {
    constexpr unsigned kMostThreads = 4;
    const unsigned threads = std::clamp(std::thread::hardware_concurrency(), 1U, kMostThreads);
    std::vector<std::future<void>> helpers;
    try {
      for (unsigned i = 0; i < threads; ++i)
        helpers.push_back(std::async(std::launch::async, [this] { Work(); }));
    } catch (const std::system_error&) {
      // It goes with fewer.
    }
    return helpers;
  }

  void Work() {
    for (std::size_t half; (half = nextHalf_++) < 2 * queue_.size();) {
      Opening& opening = *queue_[half / 2];
      if (half % 2 == 0)
        opening.Open(doneBytes_);
      else
        opening.LookThrough(doneBytes_);
    }
  }

  void Watch(std::future<void>& helper) {
    constexpr std::chrono::milliseconds kBetweenLooks(50);
    while (helper.wait_for(kBetweenLooks) != std::future_status::ready) TellProgress();
    TellProgress();
    helper.get();
  }

  void TellProgress() {
    // A file may have grown meanwhile.
    if (observer_.progress) observer_.progress(std::min(doneBytes_.load(), allBytes_), allBytes_);
  }

  const LoadObserver& observer_;
  std::vector<Opening> openings_;
  /** Largest first. */
  std::vector<Opening*> queue_;
  std::uint64_t allBytes_ = 0;
  std::atomic<std::uint64_t> doneBytes_ = 0;
  std::atomic<std::size_t> nextHalf_ = 0;
};

}  // namespace

std::vector<OpenedHive> OpenHives(const std::vector<fs::path>& files, const LoadObserver& observer) {
  HiveOpener opener(files, observer);
  opener.Run();
  return opener.Results();
}

}  // namespace simulated
