/** Times two pieces of work in turns, so that a disturbance of the machine slows both. */
#pragma once

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <vector>

namespace bench {

struct TurnTimes {
  std::vector<double> workMs;
  std::vector<double> floorMs;
};

template <class Work>
double TimeMs(Work work) {
  const auto start = std::chrono::steady_clock::now();
  work();
  return std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start).count();
}

/** Runs both once per round. In every other round the lower bound is first. */
template <class Work, class Floor>
TurnTimes TakeTurns(std::size_t rounds, Work work, Floor floor) {
  TurnTimes times;
  for (std::size_t round = 0; round < rounds; ++round) {
    const bool floorFirst = round % 2 == 1;
    if (floorFirst) times.floorMs.push_back(TimeMs(floor));
    times.workMs.push_back(TimeMs(work));
    if (!floorFirst) times.floorMs.push_back(TimeMs(floor));
  }
  return times;
}

/** @param numbers at least one */
inline double Median(std::vector<double> numbers) {
  const auto middle = numbers.begin() + static_cast<std::ptrdiff_t>(numbers.size() / 2);
  std::nth_element(numbers.begin(), middle, numbers.end());
  return *middle;
}

}  // namespace bench
