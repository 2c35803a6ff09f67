// table.h - tables in data/: a row a line, its cells separated by " | ".
#ifndef XAVO_TESTS_TABLE_H
#define XAVO_TESTS_TABLE_H

#include <string>
#include <vector>

namespace test {

using Row = std::vector<std::string>;

// Parts of a text; the last one may be missing, not empty.
Row split(const std::string &text, char at);

// The rows of a file. "-" is an empty cell, "\n" a new line, "#" begins a comment, and a row "{name} | text"
// says what that name stands for from there on. Without the file the program ends.
std::vector<Row> table(const std::string &file);

// Such a file as text: the first cell of every row, a line each.
std::string lines(const std::string &file);

void replace(std::string &text, const std::string &what, const std::string &with);

} // namespace test

#endif
