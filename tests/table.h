// table.h - tables in data/: a row a line, its cells separated by " | ".
#ifndef XAVO_TESTS_TABLE_H
#define XAVO_TESTS_TABLE_H

#include <map>
#include <ostream>
#include <string>
#include <vector>

namespace test {

// The cells of a row, and where it is: "answers.txt:20".
struct Row : std::vector<std::string> {
    using vector::vector;
    std::string where;
};

// For a test that fails with this parameter.
inline void PrintTo(const Row &row, std::ostream *os) { *os << row.where; }

// Parts of a text; the last one may be missing, not empty.
Row split(const std::string &text, char at);

// The rows of a file. "-" is an empty cell, "\n" a new line, "#" begins a comment, and a row "{name} | text"
// says what that name stands for from there on. A line that is indented continues the row. Without the file
// the program ends.
std::vector<Row> table(const std::string &file);

// A file of blocks: a line that is not indented is the name of one, "  key value" gives it a value, and what
// is indented further continues the value on a new line. Comments and names as above.
struct Block {
    std::string name;
    std::string where; // "steps.txt:12"
    std::map<std::string, std::string> values;
    const std::string &operator[](const std::string &key) const; // "" where there is none
};
std::vector<Block> blocks(const std::string &file);

// Replaces the lines of this value, in every block that has it, in the file itself: a text a block.
void update(const std::string &file, const std::string &key, const std::vector<std::string> &texts);

// Such a file as text: the first cell of every row, a line each.
std::string lines(const std::string &file);

// The words of a command, as they are: a blank between quotation marks does not end one.
Row words_in(const std::string &command);

// A text in quotation marks, as it is without them; another as it is.
std::string unquoted(const std::string &text);

void replace(std::string &text, const std::string &what, const std::string &with);

} // namespace test

#endif
