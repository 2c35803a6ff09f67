// table.h - reads the tables in data/: rows of cells separated by " | ", and blocks of "key value" lines.
#ifndef XAVO_TESTS_TABLE_H
#define XAVO_TESTS_TABLE_H

#include <map>
#include <ostream>
#include <string>
#include <vector>

namespace test {

// The cells of a row; `where` is its place, "method_answers.txt:20".
struct Row : std::vector<std::string> {
    using vector::vector;
    std::string where;
};

// Printed by GoogleTest for a test whose parameter is a row.
inline void PrintTo(const Row &row, std::ostream *os) { *os << row.where; }

// Splits a text; an empty last part is left out.
Row split(const std::string &text, char at);

// A line of a file, and those that continue it, which begin with blanks.
struct Line {
    int number; // of the first of them
    std::string text;
};
// Reads a file without empty lines and comments ("#"). Aborts when it cannot be read.
std::vector<Line> lines_of(const std::string &path);

// Reads the rows of a file of data/. "-" is an empty cell, "\n" a new line. A row of two cells, "{name} |
// text", defines a name that later rows use.
std::vector<Row> table(const std::string &file);

// A block of a file: its name is not indented; "  key value" sets a value; lines indented by four blanks are
// added to the value, each with its end of line. A block "{name}" defines a name by its lines, joined.
struct Block {
    std::string name;
    std::string where; // "call_order.txt:12"
    std::map<std::string, std::string> values;
    const std::string &operator[](const std::string &key) const; // "" where there is none
};
std::vector<Block> blocks(const std::string &file);

// Replaces the lines of the value `key` in each block of the file that has it: one text for each block.
void update(const std::string &file, const std::string &key, const std::vector<std::string> &texts);

// Returns the first cell of every row, one per line.
std::string lines(const std::string &file);

// The words of a command, as they are: a blank between quotation marks does not end one.
Row words_in(const std::string &command);

// Returns a text without the quotation marks around it; a text that has none is returned unchanged.
std::string unquoted(const std::string &text);

// Returns the first line that differs in two texts, as it is in both, one below the other, with the first
// different character marked; of a long line only the part around it.
std::string difference(const std::string &expected, const std::string &actual);

void replace(std::string &text, const std::string &what, const std::string &with);

} // namespace test

#endif
