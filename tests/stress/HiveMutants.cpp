/**
 * hive-mutants hive|log FOLDER SEED COUNT FILE [LOG...]: reads mutants of a hive, or of its logs, and looks
 * for silent loss. mutate-hives.py runs it and defines a loss. Writes each mutant into FOLDER and opens it
 * there.
 */
#include <malloc.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <map>
#include <random>
#include <span>
#include <string>
#include <vector>

#include "simulated/base/LittleEndian.h"
#include "simulated/volume/Hive.h"

namespace {

namespace fs = std::filesystem;
using simulated::Hive;
using simulated::Key;

constexpr unsigned kSeconds = 5;
constexpr std::size_t kMostMemoryPerByte = 4, kSpareBytes = 1 << 18;
constexpr std::size_t kSector = 512;

/** A key: the number of its values, and its subkeys by name. */
struct Node {
  std::size_t values = 0;
  std::map<std::u16string, Node, simulated::NameLess> subKeys;

  bool operator==(const Node&) const = default;
};

struct Answer {
  bool isRefused = false;
  std::size_t reports = 0;
  std::size_t memory = 0;
  Node root;
};

Node NodeOf(Key& key) {
  Node node;
  node.values = key.ValueCount();
  for (std::size_t i = 0; i < key.SubKeyCount(); ++i)
    node.subKeys.emplace(key.SubKeyAt(i).Name(), NodeOf(key.SubKeyAt(i)));
  return node;
}

void ReadAll(Key& key) {
  for (std::size_t i = 0; i < key.SubKeyCount(); ++i) ReadAll(key.SubKeyAt(i));
}

std::size_t MemoryInUse() {
  const struct mallinfo2 info = mallinfo2();
  return info.uordblks + info.hblkhd;
}

Answer ReadHive(const fs::path& file) {
  Answer answer;
  simulated::LoadObserver observer;
  observer.damage = [&](const std::string&) { ++answer.reports; };
  const std::size_t before = MemoryInUse();
  alarm(kSeconds);
  try {
    const auto hive = Hive::Open(file, simulated::Recovery::Applied, observer);
    Key root(u"root");
    hive->FillLater(root, hive->Root());
    ReadAll(root);
    alarm(0);
    answer.memory = MemoryInUse() - before;
    answer.root = NodeOf(root);
  } catch (const simulated::MachineError&) {
    alarm(0);
    answer.isRefused = true;
  }
  return answer;
}

/**
 * Whether `left` has fewer keys or values at any place. If names have hashes, a renamed key counts as gone.
 * Otherwise nobody can detect that it was renamed, and it is compared with a key that is gone.
 */
bool HasLess(const Node& left, const Node& whole, bool namesHaveHashes) {
  if (left.values < whole.values || left.subKeys.size() < whole.subKeys.size()) return true;
  std::vector<const Node*> renamed, gone;
  // The reader does not check the hashes of other names.
  const auto isLatin1 = [](char16_t unit) { return unit <= 0xFF; };
  for (const auto& [name, node] : left.subKeys) {
    if (whole.subKeys.contains(name)) continue;
    renamed.push_back(&node);
    namesHaveHashes = namesHaveHashes && std::ranges::all_of(name, isLatin1);
  }
  for (const auto& [name, node] : whole.subKeys) {
    const auto found = left.subKeys.find(name);
    if (found == left.subKeys.end())
      gone.push_back(&node);
    else if (HasLess(found->second, node, namesHaveHashes))
      return true;
  }
  if (namesHaveHashes && !gone.empty()) return true;
  for (std::size_t i = 0; i < gone.size(); ++i)
    if (HasLess(*renamed[i], *gone[i], namesHaveHashes)) return true;
  return false;
}

using Random = std::mt19937_64;

/** Makes one change of the kinds that disks and forgers make. Prefers a byte that is not zero. */
void Mutate(std::string& bytes, Random& random) {
  const auto below = [&](std::size_t end) { return static_cast<std::size_t>(random() % end); };
  std::size_t at = below(bytes.size());
  for (int i = 0; i < 64 && bytes[at] == 0; ++i) at = below(bytes.size());
  switch (below(6)) {
    case 0:
      bytes[at] = static_cast<char>(bytes[at] ^ 1 << below(8));
      break;
    case 1:
      bytes[at] = static_cast<char>(random());
      break;
    case 2:
      for (std::size_t i = at / 4 * 4; i < std::min(bytes.size(), at / 4 * 4 + 4); ++i)
        bytes[i] = static_cast<char>(below(3) == 0 ? 0xFF : random());
      break;
    case 3: {
      const std::size_t sector = at / kSector * kSector, end = std::min(bytes.size(), sector + kSector);
      std::fill(bytes.begin() + static_cast<std::ptrdiff_t>(sector),
                bytes.begin() + static_cast<std::ptrdiff_t>(end), '\0');
      break;
    }
    case 4: {
      // Copies another word of the file here, such as the offset of another cell.
      const std::size_t from = below(bytes.size() / 4) * 4, to = at / 4 * 4;
      if (to + 4 <= bytes.size()) bytes.replace(to, 4, bytes.substr(from, 4));
      break;
    }
    default:
      if (below(8) == 0)
        bytes.resize(at);
      else
        bytes[at] = static_cast<char>(bytes[at] + (below(2) == 0 ? 1 : -1));
  }
}

std::string Contents(const fs::path& file) {
  std::ifstream in(file, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), {}};
}

void Write(const fs::path& file, const std::string& bytes) { std::ofstream(file, std::ios::binary) << bytes; }

/** Corrects the header's checksum, so that the mutant is not refused because of it. */
void SetChecksum(std::string& bytes) {
  constexpr std::size_t kChecksum = 508;
  if (bytes.size() < kSector) return;
  const std::span header(reinterpret_cast<const std::uint8_t*>(bytes.data()), kChecksum);
  std::uint32_t sum = 0;
  for (std::size_t at = 0; at < kChecksum; at += 4) sum ^= simulated::Read32(header, at);
  for (std::size_t i = 0; i < 4; ++i) bytes[kChecksum + i] = static_cast<char>(sum >> 8 * i);
}

/**
 * Whether a key counts fewer values than before. That cannot be detected: Windows leaves old entries in the
 * lists of values, so entries beyond the count mean nothing.
 */
bool CountsFewerValues(const std::string& whole, const std::string& mutant) {
  constexpr std::size_t kValueCount = 36, kKeyBytes = 76;
  const auto spanOf = [](const std::string& bytes) {
    return std::span(reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size());
  };
  for (std::size_t key = 4; key + kKeyBytes <= std::min(whole.size(), mutant.size()); key += 8) {
    if (whole.compare(key, 2, "nk") != 0) continue;
    if (simulated::Read32(spanOf(mutant), key + kValueCount) <
        simulated::Read32(spanOf(whole), key + kValueCount))
      return true;
  }
  return false;
}

/** Whether each list of subkeys has the hashes of their names. */
bool HasNameHashes(const std::string& hive) {
  constexpr std::size_t kFirstCell = 4096 + 32, kSizeBytes = 4;
  bool hasHashes = false;
  for (std::size_t at = kFirstCell + kSizeBytes; at + 2 <= hive.size(); at += 8) {
    if (hive.compare(at, 2, "lf") == 0 || hive.compare(at, 2, "li") == 0) return false;
    if (hive.compare(at, 2, "lh") == 0) hasHashes = true;
  }
  return hasHashes;
}

class Runner {
 public:
  Runner(const fs::path& folder, const std::vector<fs::path>& files) : hive_(folder / "hive") {
    for (std::size_t i = 0; i < files.size(); ++i) {
      names_.push_back(i == 0 ? hive_ : folder / ("hive.LOG" + std::to_string(i)));
      contents_.push_back(Contents(files[i]));
      allBytes_ += contents_.back().size();
      Write(names_.back(), contents_.back());
    }
    whole_ = ReadHive(hive_);
    namesHaveHashes_ = HasNameHashes(contents_[0]);
    std::fprintf(stderr, "whole: %zu reports, memory %.2f times the files, names %s hashes\n", whole_.reports,
                 Times(whole_.memory), namesHaveHashes_ ? "with" : "without");
    if (files.size() > 1) KeepStates();
  }

  void Run(bool mutatesLogs, std::uint64_t seed) {
    Random random(seed);
    const std::size_t first = mutatesLogs ? 1 : 0, end = mutatesLogs ? contents_.size() : 1;
    const std::size_t chosen = first + random() % (end - first);
    std::string bytes = contents_[chosen];
    for (std::size_t i = 1 + random() % 3; i > 0 && !bytes.empty(); --i) Mutate(bytes, random);
    if (!mutatesLogs || random() % 2 == 0) SetChecksum(bytes);
    Write(names_[chosen], bytes);
    if (!Judge(ReadHive(hive_), contents_[chosen], bytes, seed))
      fs::copy_file(names_[chosen], hive_.parent_path() / ("mutant-" + std::to_string(seed)),
                    fs::copy_options::overwrite_existing);
    Write(names_[chosen], contents_[chosen]);
  }

  bool Report() const {
    std::printf(
        "%zu same, %zu reported, %zu refused, %zu changed only, %zu as after a torn write, %zu with fewer "
        "values counted, %zu silent losses, %zu above the memory limit, memory at most %.2f times the "
        "files\n",
        same_, reported_, refused_, changed_, torn_, uncounted_, silent_, greedy_, mostTimes_);
    return silent_ == 0 && greedy_ == 0;
  }

 private:
  double Times(std::size_t bytes) const {
    return static_cast<double>(bytes) / static_cast<double>(allBytes_);
  }

  /** Keeps the state before each log entry. It is correct, too: a damaged last entry may be a torn write. */
  void KeepStates() {
    for (std::size_t log = 1; log < contents_.size(); ++log) {
      const std::string& bytes = contents_[log];
      for (std::size_t at = kSector; at + kSector <= bytes.size(); at += kSector) {
        if (bytes.compare(at, 4, "HvLE") != 0) continue;
        Write(names_[log], bytes.substr(0, at));
        const Answer before = ReadHive(hive_);
        if (before.reports == 0) states_.push_back(before.root);
      }
      Write(names_[log], bytes);
    }
  }

  /** @return whether the answer is correct */
  bool Judge(const Answer& answer, const std::string& whole, const std::string& mutant, std::uint64_t seed) {
    const std::size_t faults = silent_ + greedy_;
    mostTimes_ = std::max(mostTimes_, Times(answer.memory));
    if (answer.memory > kMostMemoryPerByte * allBytes_ + kSpareBytes) {
      std::fprintf(stderr, "seed %llu: memory %zu\n", static_cast<unsigned long long>(seed), answer.memory);
      ++greedy_;
    }
    if (answer.isRefused) {
      ++refused_;
    } else if (answer.reports > whole_.reports) {
      ++reported_;
    } else if (whole == mutant || answer.root == whole_.root) {
      ++same_;
    } else if (std::ranges::find(states_, answer.root) != states_.end()) {
      ++torn_;
    } else if (!HasLess(answer.root, whole_.root, namesHaveHashes_)) {
      ++changed_;
    } else if (CountsFewerValues(whole, mutant)) {
      ++uncounted_;
    } else {
      std::fprintf(stderr, "seed %llu: silent loss\n", static_cast<unsigned long long>(seed));
      ++silent_;
    }
    return silent_ + greedy_ == faults;
  }

  const fs::path hive_;
  std::vector<fs::path> names_;
  std::vector<std::string> contents_;
  std::size_t allBytes_ = 0;
  Answer whole_;
  bool namesHaveHashes_ = false;
  std::vector<Node> states_;
  std::size_t same_ = 0, reported_ = 0, refused_ = 0, changed_ = 0, torn_ = 0, uncounted_ = 0, silent_ = 0,
              greedy_ = 0;
  double mostTimes_ = 0;
};

}  // namespace

int main(int count, char** values) {
  const std::vector<std::string> arguments(values + 1, values + count);
  if (arguments.size() < 5) return 2;
  Runner runner(arguments[1], {arguments.begin() + 4, arguments.end()});
  const std::uint64_t seed = std::stoull(arguments[2]), mutants = std::stoull(arguments[3]);
  for (std::uint64_t i = 0; i < mutants; ++i) {
    // A crash or a hang ends the program: its last line names the mutant.
    std::fprintf(stderr, "\r%llu", static_cast<unsigned long long>(seed + i));
    runner.Run(arguments[0] == "log", seed + i);
  }
  std::fprintf(stderr, "\n");
  return runner.Report() ? 0 : 1;
}
