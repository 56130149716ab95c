#include "simulated/directory/JsonFile.h"

#include <algorithm>
#include <iterator>
#include <vector>

#include "simulated/base/MachineError.h"

namespace simulated {
namespace {

using nlohmann::json;

/** Much more than any member needs, and little enough for functions that call themselves per level. */
constexpr int kDeepest = 100;

/** An iterator that publishes its position. */
struct VisibleIterator {
  using iterator_category = std::input_iterator_tag;
  using value_type = std::uint8_t;
  using difference_type = std::ptrdiff_t;
  using pointer = const std::uint8_t*;
  using reference = const std::uint8_t&;

  reference operator*() const { return **at; }
  VisibleIterator& operator++() {
    ++*at;
    return *this;
  }
  bool operator==(const VisibleIterator& other) const { return *at == *other.at; }

  pointer* at;
};

/** Notes the line of each member while the parser reads the file. */
class LineNoter {
 public:
  LineNoter(const std::uint8_t* begin, const std::uint8_t* const& at, JsonLines& lines)
      : counted_(begin), at_(at), lines_(lines) {}

  std::size_t Line() {
    // After a number the parser has read one character more, which may be the line's end.
    const std::uint8_t* const last = at_ > counted_ ? at_ - 1 : counted_;
    line_ += static_cast<std::size_t>(std::count(counted_, last, '\n'));
    counted_ = last;
    return line_;
  }

  /** @return false if it is nested too deep */
  bool Note(int depth, json::parse_event_t event, const json& parsed) {
    using Event = json::parse_event_t;
    if (event == Event::key) {
      const JsonLines::Hash above = open_.back().path;
      member_ = JsonLines::Extend(JsonLines::Extend(above, above == JsonLines::kRoot ? "" : "."),
                                  parsed.get_ref<const std::string&>());
      lines_.Set(member_, Line());
    } else if (event == Event::object_end || event == Event::array_end) {
      open_.pop_back();
    } else {
      NoteElement();
      if (event != Event::value) open_.push_back({member_, event == Event::array_start, 0});
    }
    return depth < kDeepest;
  }

 private:
  struct Container {
    JsonLines::Hash path;
    bool isArray;
    std::size_t count;
  };

  /** Notes a value that is not a member: an element of an array, or the root. */
  void NoteElement() {
    if (open_.empty()) return lines_.Set(JsonLines::kRoot, Line());
    Container& container = open_.back();
    if (!container.isArray) return;
    member_ = JsonLines::Extend(container.path, "[" + std::to_string(container.count++) + "]");
    lines_.Set(member_, Line());
  }

  const std::uint8_t* counted_;
  const std::uint8_t* const& at_;
  JsonLines& lines_;
  std::size_t line_ = 1;
  /** Path of the member that began last. */
  JsonLines::Hash member_ = JsonLines::kRoot;
  std::vector<Container> open_;
};

/** The part of the parser's message that names the mistake, on one line. */
std::string Explanation(const std::string& message, std::string_view start) {
  const std::size_t at = message.find(start);
  return at == message.npos ? message : message.substr(at);
}

}  // namespace

JsonLines::Hash JsonLines::Extend(Hash path, std::string_view further) {
  for (const char byte : further) path = (path ^ static_cast<unsigned char>(byte)) * 0x100000001B3;
  return path;
}

std::string JsonLines::Place(const std::string& fileName, std::string_view member) const {
  auto found = lines_.find(Extend(kRoot, member));
  while (found == lines_.end() && !member.empty()) {
    const std::size_t end = member.find_last_of(".[");
    member = member.substr(0, end == member.npos ? 0 : end);
    found = lines_.find(Extend(kRoot, member));
  }
  return found == lines_.end() ? fileName : fileName + ":" + std::to_string(found->second);
}

JsonFile ParseJsonFile(std::span<const std::uint8_t> bytes, const std::string& fileName) {
  JsonFile file;
  const std::uint8_t* at = bytes.data();
  const std::uint8_t* end = at + bytes.size();
  LineNoter noter(at, at, file.lines);
  const auto fail = [&](const std::string& what) {
    throw MachineError(fileName + ":" + std::to_string(noter.Line()) + ": " + what);
  };
  const auto note = [&](int depth, json::parse_event_t event, const json& parsed) {
    if (!noter.Note(depth, event, parsed))
      fail("nested more than " + std::to_string(kDeepest) + " deep; no member is, take it out");
    return true;
  };
  try {
    file.root = json::parse(VisibleIterator{&at}, VisibleIterator{&end}, note);
  } catch (const json::parse_error& error) {
    fail(Explanation(error.what(), "syntax error") + "; correct the JSON");
  } catch (const json::out_of_range& error) {
    fail(Explanation(error.what(), "number overflow") + "; correct the number");
  }
  return file;
}

}  // namespace simulated
