#include "views/Table.h"

#include <algorithm>
#include <charconv>
#include <cstdlib>
#include <span>

#include "console/DisplayText.h"
#include "views/Messages.h"

namespace cli {
namespace {

constexpr std::size_t kGapCells = 2;
/** A narrower flexible column shows too little. */
constexpr int kNarrowestCells = 8;
/** If lines may have any width, one long text must not push the next column far to the right. */
constexpr int kWidestPadding = 40;

/** Returns the screen cells for the flexible columns among the first `widths.size()` columns. */
int CellsForFlexible(std::span<const Column> columns, std::span<const int> widths, int lineCells) {
  int left = lineCells - static_cast<int>(kGapCells) * (static_cast<int>(widths.size()) - 1);
  for (std::size_t i = 0; i < widths.size(); ++i) {
    if (!columns[i].flexible) left -= widths[i];
  }
  return left;
}

/** Makes the widest columns narrower, so that these columns together take at most `cells`. */
void ShareOut(std::vector<int*> flexible, int cells) {
  std::sort(flexible.begin(), flexible.end(), [](const int* a, const int* b) { return *a < *b; });
  for (auto left = static_cast<int>(flexible.size()); int* width : flexible) {
    *width = std::min(*width, cells / left--);
    cells -= *width;
  }
}

int SmallestNeed(std::span<const Column> columns, std::span<const int> widths) {
  int need = 0;
  for (std::size_t i = 0; i < widths.size(); ++i) {
    if (columns[i].flexible) need += std::min(widths[i], kNarrowestCells);
  }
  return need;
}

/** Returns the widths of the columns that are shown. */
std::vector<int> FitColumns(std::span<const Column> columns, std::vector<int> widths, int lineCells) {
  while (widths.size() > 1 && CellsForFlexible(columns, widths, lineCells) < SmallestNeed(columns, widths)) {
    widths.pop_back();
  }
  std::vector<int*> flexible;
  for (std::size_t i = 0; i < widths.size(); ++i) {
    if (columns[i].flexible) flexible.push_back(&widths[i]);
  }
  ShareOut(flexible, std::max(1, CellsForFlexible(columns, widths, lineCells)));
  return widths;
}

std::string Line(std::span<const std::string> fields, std::span<const int> widths, bool mayCut) {
  std::string line;
  std::size_t gap = 0;
  for (std::size_t i = 0; i < widths.size(); ++i) {
    if (fields[i].empty()) {
      gap += static_cast<std::size_t>(widths[i]) + kGapCells;
      continue;
    }
    const std::string text = mayCut ? CutToWidth(fields[i], widths[i]) : fields[i];
    line.append(gap, ' ').append(text);
    gap = static_cast<std::size_t>(std::max(0, widths[i] - DisplayWidth(text))) + kGapCells;
  }
  return line;
}

/** Returns the width of a line in cells; 0 for any width. */
int CellsOfLine() {
  int cells = 0;
  if (const char* wish = std::getenv("COLUMNS")) {
    std::from_chars(wish, wish + std::string_view(wish).size(), cells);
  }
  if (cells > 0) return cells;
  return IsTerminal(Stream::Out) ? TerminalColumns() : 0;
}

}  // namespace

TableStyle StyleOfOutput() { return {CellsOfLine(), UsesColour(Stream::Out)}; }

Table::Table(std::vector<Column> columns) : columns_(std::move(columns)) {
  for (const Column& column : columns_) widest_.push_back(DisplayWidth(column.title));
}

void Table::AddRow(std::vector<std::string> fields) {
  for (std::size_t i = 0; i < columns_.size(); ++i) {
    fields[i] = Printable(fields[i]);
    widest_[i] = std::max(widest_[i], DisplayWidth(fields[i]));
  }
  rows_.push_back(std::move(fields));
}

void Table::Print(Output& out, TableStyle style) const {
  const bool mayCut = style.lineCells > 0;
  std::vector<int> widths = widest_;
  if (mayCut) {
    widths = FitColumns(columns_, widths, style.lineCells);
  } else {
    for (int& width : widths) width = std::min(width, kWidestPadding);
  }
  std::vector<std::string> titles;
  for (const Column& column : columns_) titles.push_back(column.title);
  const std::string heading = Line(titles, widths, mayCut);
  out.Write(style.colour ? "\x1b[1m" + heading + "\x1b[0m\n" : heading + "\n");
  for (const std::vector<std::string>& row : rows_) out.Write(Line(row, widths, mayCut) + "\n");
}

}  // namespace cli
