#include "console/Progress.h"

#include <algorithm>

#include "console/DisplayText.h"
#include "console/System.h"

namespace cli {
namespace {

using std::chrono::steady_clock;

constexpr std::chrono::milliseconds kPatience{300};
constexpr std::chrono::milliseconds kBetweenDraws{100};
constexpr int kBarCells = 30;
constexpr int kPercentCells = 7;

void WriteError(std::string_view text) {
  std::string reason;
  Write(Stream::Error, text, reason);
}

std::string Bar(double share, int cells) {
  const auto full = static_cast<std::size_t>(share * cells);
  return std::string(full, '#') + std::string(static_cast<std::size_t>(cells) - full, '.');
}

}  // namespace

Progress::Progress(std::string_view task)
    : task_(task),
      isShown_(IsTerminal(Stream::Error)),
      start_(steady_clock::now()),
      nextDraw_(start_ + kPatience) {}

Progress::~Progress() { Erase(); }

void Progress::Update(std::uint64_t done, std::uint64_t all) {
  if (!isShown_ || all == 0 || steady_clock::now() < nextDraw_) return;
  const double share = std::min(1.0, static_cast<double>(done) / static_cast<double>(all));
  // A line in the last column would wrap, and only its last part could be erased.
  const int room = TerminalColumns() - static_cast<int>(task_.size()) - kPercentCells - 2;
  const int barCells = std::min(kBarCells, room);
  const std::string bar = barCells > 0 ? " " + Bar(share, barCells) : "";
  Draw(task_ + bar + " " + std::to_string(static_cast<int>(share * 100)) + " %");
}

void Progress::UpdateTime() {
  if (!isShown_ || steady_clock::now() < nextDraw_) return;
  const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(steady_clock::now() - start_).count();
  const auto room = static_cast<std::size_t>(std::max(20, TerminalColumns()) - 12);
  // Cut by bytes: no character takes more cells than bytes.
  Draw(Printable(task_.size() <= room ? task_ : task_.substr(0, room)) + ", " + std::to_string(seconds) +
       " s");
}

void Progress::Draw(const std::string& line) {
  WriteError("\r" + line);
  isDrawn_ = true;
  nextDraw_ = steady_clock::now() + kBetweenDraws;
}

void Progress::Erase() {
  if (!isDrawn_) return;
  WriteError("\r\x1b[K");
  isDrawn_ = false;
}

}  // namespace cli
