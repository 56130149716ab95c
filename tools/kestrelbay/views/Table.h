/** A table for a person: a heading, and a row of texts for each thing. */
#pragma once

#include <string>
#include <vector>

#include "console/Output.h"

namespace cli {

struct Column {
  std::string title;
  /** Whether its texts may be cut where the table is too wide. */
  bool flexible;
};

struct TableStyle {
  /** Cells that a line may take; 0 for any number, where nothing is cut. */
  int columns = 0;
  bool colour = false;
};

/** As standard output takes it: as wide as COLUMNS says, else as the terminal, else of any width. */
TableStyle StyleOfOutput();

class Table {
 public:
  explicit Table(std::vector<Column> columns);

  /** @param cells  one a column; whatever would act on a terminal is made visible */
  void AddRow(std::vector<std::string> cells);

  /**
   * Where a line is too narrow, the widest flexible columns give way first; then whole columns are left out,
   * the last ones first.
   */
  void Print(Output& out, TableStyle style) const;

 private:
  std::vector<Column> columns;
  std::vector<std::vector<std::string>> rows;
  std::vector<int> widest;
};

}  // namespace cli
