// statement.h - Statement: a line of a scene or a state, parsed into words, quoted texts and NAME=VALUE.
#ifndef CIMSIM_STATEMENT_H
#define CIMSIM_STATEMENT_H

#include <cstdint>
#include <map>
#include <stdexcept>
#include <string>
#include <vector>

namespace cimsim {

// An error in a scene, a state or a value, with its line.
struct StatementError : std::runtime_error {
    StatementError(std::size_t line_, const std::string &what) : std::runtime_error(what), line(line_) {}
    std::size_t line;
};

struct Word {
    std::string text;
    bool quoted = false; // it begins with a quotation mark
};

// A statement: its name, its words and its options.
struct Statement {
    std::size_t line = 0;
    std::string name;
    std::vector<Word> words;
    // NAME=VALUE, in the order of the line. parse leaves an option without a value, such as "fails", among
    // the words; apply_scene moves it here, with an empty Word.
    std::vector<std::pair<std::string, Word>> options;

    [[noreturn]] void fail(const std::string &what) const { throw StatementError(line, name + ": " + what); }
    const Word *option(const char *wanted) const;
    std::string text_option(const char *wanted, const std::string &otherwise = {}) const;
    // Both return the decimal number that a word denotes. They fail if the word is no number, or if the
    // number is not between `least` and `most`. number_option returns `otherwise` if the option is not given.
    std::int64_t number_option(const char *wanted, std::int64_t otherwise, std::int64_t least,
                               std::int64_t most) const;
    std::int64_t number(const Word &word, std::int64_t least, std::int64_t most) const;
};

// The statements of a text. Ignores empty lines and lines that begin with #.
std::vector<Statement> parse(const std::string &text);

// The text in quotation marks, with special characters escaped. parse reads the same text from it.
std::string quoted(const std::string &text);

} // namespace cimsim

#endif
