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

Progress::Progress(std::string_view name)
    : job(name),
      possible(IsTerminal(Stream::Error)),
      start(steady_clock::now()),
      nextDraw(start + kPatience) {}

Progress::~Progress() { Erase(); }

void Progress::Update(std::uint64_t done, std::uint64_t all) {
  if (!possible || all == 0 || steady_clock::now() < nextDraw) return;
  const double share = std::min(1.0, static_cast<double>(done) / static_cast<double>(all));
  // A line that reached the last column could not be taken back whole.
  const int room = TerminalColumns() - static_cast<int>(job.size()) - kPercentCells - 2;
  const int barCells = std::min(kBarCells, room);
  const std::string bar = barCells > 0 ? " " + Bar(share, barCells) : "";
  Draw(job + bar + " " + std::to_string(static_cast<int>(share * 100)) + " %");
}

void Progress::UpdateTime() {
  if (!possible || steady_clock::now() < nextDraw) return;
  const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(steady_clock::now() - start).count();
  const auto room = static_cast<std::size_t>(std::max(20, TerminalColumns()) - 12);
  // Cut by bytes: a name in wide characters is short enough then, too.
  Draw(Printable(job.size() <= room ? job : job.substr(0, room)) + ", " + std::to_string(seconds) + " s");
}

void Progress::Draw(const std::string& line) {
  WriteError("\r" + line);
  drawn = true;
  nextDraw = steady_clock::now() + kBetweenDraws;
}

void Progress::Erase() {
  if (!drawn) return;
  WriteError("\r\x1b[K");
  drawn = false;
}

}  // namespace cli
