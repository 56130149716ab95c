/** A table for a person: a heading and rows of texts. */
#pragma once

#include <string>
#include <vector>

#include "console/Output.h"

namespace cli {

struct Column {
  std::string title;
  /** Whether texts may be cut off if the table is too wide. */
  bool flexible;
};

struct TableStyle {
  /** The width of a line in screen cells; 0 for any width, so that nothing is cut off. */
  int lineCells = 0;
  bool colour = false;
};

/** Returns the style of standard output: as wide as COLUMNS says, or as the terminal, or of any width. */
TableStyle StyleOfOutput();

class Table {
 public:
  explicit Table(std::vector<Column> columns);

  /** @param fields  one text for each column; made Printable */
  void AddRow(std::vector<std::string> fields);

  /**
   * If lines are too narrow, the widest flexible columns become narrower. If that is not enough, columns are
   * left out, the last one first.
   */
  void Print(Output& out, TableStyle style) const;

 private:
  std::vector<Column> columns_;
  std::vector<std::vector<std::string>> rows_;
  std::vector<int> widest_;
};

}  // namespace cli
