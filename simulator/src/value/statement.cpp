// statement.cpp - parses lines into statements, and quotes texts.
#include "value/statement.h"

#include <algorithm>
#include <charconv>

namespace cimsim {

namespace {

int hex_digit(char c) {
    return c >= '0' && c <= '9'   ? c - '0'
           : c >= 'a' && c <= 'f' ? c - 'a' + 10
           : c >= 'A' && c <= 'F' ? c - 'A' + 10
                                  : -1;
}

bool is_blank(char c) { return c == ' ' || c == '\t' || c == '\r'; }

// Reads one line from left to right.
class Scanner {
public:
    Scanner(std::size_t number, const std::string &line) : number_(number), line_(line) {}

    bool at_end() {
        while (at_ < line_.size() && is_blank(line_[at_]))
            ++at_;
        return at_ == line_.size();
    }
    bool at_comment() const { return line_[at_] == '#'; }
    // Returns the next word. If it has the form NAME=VALUE, sets *has_value, returns NAME and stores VALUE.
    // An equals sign in quotation marks does not separate them.
    Word word(bool *has_value, Word *value) {
        Word name = part(true);
        *has_value = at_ < line_.size() && line_[at_] == '=';
        if (*has_value) {
            ++at_;
            *value = part(false);
        }
        return name;
    }

private:
    Word part(bool ends_at_equals) {
        Word word;
        word.quoted = at_ < line_.size() && line_[at_] == '"';
        while (at_ < line_.size() && !is_blank(line_[at_]) && !(ends_at_equals && line_[at_] == '='))
            if (line_[at_] == '"')
                quoted_part(word.text);
            else
                word.text += line_[at_++];
        return word;
    }
    void quoted_part(std::string &text) {
        for (++at_;; ++at_) {
            if (at_ >= line_.size())
                throw StatementError(number_, "a quotation mark is missing");
            if (line_[at_] == '"')
                break;
            text += line_[at_] == '\\' ? escaped() : line_[at_];
        }
        ++at_;
    }
    char escaped() {
        const char c = ++at_ < line_.size() ? line_[at_] : '\0';
        if (c == '"' || c == '\\')
            return c;
        if (c == 'n')
            return '\n';
        if (c == 'x' && at_ + 2 < line_.size()) {
            const int high = hex_digit(line_[at_ + 1]), low = hex_digit(line_[at_ + 2]);
            at_ += 2;
            if (high >= 0 && low >= 0)
                return static_cast<char>(high * 16 + low);
        }
        throw StatementError(number_,
                             "after a backslash there must be \\, \", n, or x and two hexadecimal digits");
    }

    std::size_t number_, at_ = 0;
    const std::string &line_;
};

} // namespace

const Word *Statement::option(const char *wanted) const {
    for (const auto &[given, value] : options)
        if (given == wanted)
            return &value;
    return nullptr;
}

std::string Statement::text_option(const char *wanted, const std::string &otherwise) const {
    const Word *given = option(wanted);
    return given ? given->text : otherwise;
}

std::int64_t Statement::number_option(const char *wanted, std::int64_t otherwise, std::int64_t least,
                                      std::int64_t most) const {
    const Word *given = option(wanted);
    return given ? number(*given, least, most) : otherwise;
}

std::int64_t Statement::number(const Word &word, std::int64_t least, std::int64_t most) const {
    std::int64_t value = 0;
    const char *const end = word.text.data() + word.text.size();
    const auto [rest, error] = std::from_chars(word.text.data(), end, value);
    if (word.quoted || rest != end || error == std::errc::invalid_argument)
        fail("\"" + word.text + "\" is not a number");
    if (error != std::errc() || value < least || value > most)
        fail(word.text + " is not between " + std::to_string(least) + " and " + std::to_string(most));
    return value;
}

std::vector<Statement> parse(const std::string &text) {
    std::vector<Statement> statements;
    std::size_t number = 0;
    for (std::size_t begin = 0; begin < text.size();) {
        const std::size_t end = std::min(text.find('\n', begin), text.size());
        const std::string line = text.substr(begin, end - begin);
        begin = end + 1;
        ++number;
        Scanner scanner(number, line);
        if (scanner.at_end() || scanner.at_comment())
            continue;
        Statement statement;
        statement.line = number;
        bool has_value = false;
        Word value;
        statement.name = scanner.word(&has_value, &value).text;
        if (has_value)
            throw StatementError(number,
                                 "a line must begin with the name of a statement, not with NAME=VALUE");
        while (!scanner.at_end()) {
            Word word = scanner.word(&has_value, &value);
            if (has_value)
                statement.options.emplace_back(std::move(word.text), std::move(value));
            else
                statement.words.push_back(std::move(word));
        }
        statements.push_back(std::move(statement));
    }
    return statements;
}

std::string quoted(const std::string &text) {
    const char *const digits = "0123456789abcdef";
    std::string line = "\"";
    for (const char c : text) {
        const auto byte = static_cast<unsigned char>(c);
        if (c == '"' || c == '\\')
            line += std::string("\\") + c;
        else if (c == '\n')
            line += "\\n";
        else if (byte < 0x20 || byte == 0x7f)
            line += std::string("\\x") + digits[byte >> 4] + digits[byte & 15];
        else
            line += c;
    }
    return line + "\"";
}

} // namespace cimsim
