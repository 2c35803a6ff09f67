// text.h - the lines of which scenes and states are made: words, quoted texts that hold any byte, NAME=VALUE.
#ifndef CIMSIM_TEXT_H
#define CIMSIM_TEXT_H

#include <cstdint>
#include <map>
#include <stdexcept>
#include <string>
#include <vector>

namespace cimsim {

// What is wrong with a file, and in which line.
struct Mistake : std::runtime_error {
    Mistake(std::size_t line_, const std::string &what) : std::runtime_error(what), line(line_) {}
    std::size_t line;
};

struct Word {
    std::string text;
    bool quoted = false; // it begins with a quotation mark
};

// A statement: its name, what follows it, and the options among that.
struct Statement {
    std::size_t line = 0;
    std::string name;
    std::vector<Word> words;
    std::vector<std::pair<std::string, Word>> options; // NAME=VALUE, in their order; NAME alone has no value

    [[noreturn]] void fail(const std::string &what) const { throw Mistake(line, name + ": " + what); }
    const Word *option(const char *wanted) const;
    std::string text_option(const char *wanted, const std::string &otherwise = {}) const;
    // Numbers in decimal, between `least` and `most`.
    std::int64_t number_option(const char *wanted, std::int64_t otherwise, std::int64_t least,
                               std::int64_t most) const;
    std::int64_t number(const Word &word, std::int64_t least, std::int64_t most) const;
};

// The statements of a text. Lines that are empty or begin with # are none.
std::vector<Statement> parse(const std::string &text);

// The text as parse reads it back.
std::string quoted(const std::string &text);

} // namespace cimsim

#endif
