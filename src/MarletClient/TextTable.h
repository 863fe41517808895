#pragma once

#include <string>
#include <vector>

#include "MarletClient/Terminal.h"

namespace marlet {

// Rows in aligned columns that fit the terminal. Control characters in the cells are replaced.
class TextTable {
public:
    struct Column {
        std::string title;
        bool isFlexible = false;  // gives way when the terminal is narrow
    };

    explicit TextTable(std::vector<Column> tableColumns) : columns(std::move(tableColumns)) {}

    // As many cells as there are columns.
    void add(std::vector<std::string> cells);
    bool isEmpty() const { return rows.empty(); }

    // With a line of titles; a column without any content is left out. Every line ends with a line end.
    std::string text(const Terminal& terminal) const;

private:
    std::vector<Column> columns;
    std::vector<std::vector<std::string>> rows;
};

}  // namespace marlet
