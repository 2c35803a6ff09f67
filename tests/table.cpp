#include "table.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iomanip>
#include <sstream>

namespace test {

Row split(const std::string &text, char at) {
    Row parts;
    std::istringstream stream(text);
    for (std::string part; std::getline(stream, part, at);)
        parts.push_back(part);
    return parts;
}

std::string unquoted(const std::string &text) {
    std::string plain;
    std::istringstream(text) >> std::quoted(plain);
    return text.empty() || text[0] != '"' ? text : plain;
}

Row words_in(const std::string &command) {
    Row words(1);
    bool quoted = false;
    for (size_t at = 0; at < command.size(); ++at) {
        quoted = quoted != (command[at] == '"');
        if (std::strchr(" \n", command[at]) && !quoted)
            words.emplace_back();
        else
            words.back() += command[at];
        if (command[at] == '\\' && quoted && at + 1 < command.size())
            words.back() += command[++at];
    }
    words.erase(std::remove(words.begin(), words.end(), ""), words.end());
    return words;
}

void replace(std::string &text, const std::string &what, const std::string &with) {
    for (size_t at = 0; (at = text.find(what, at)) != std::string::npos; at += with.size())
        text.replace(at, what.size(), with);
}

std::string difference(const std::string &expected, const std::string &actual) {
    const auto different =
        std::mismatch(expected.begin(), expected.end(), actual.begin(), actual.end()).first;
    const auto at = static_cast<size_t>(different - expected.begin());
    const std::string same = expected.substr(0, at);
    const size_t line = same.rfind('\n') + 1, begin = std::max(line, std::max<size_t>(at, 40) - 40);
    const auto part = [&](const std::string &text) {
        return text.substr(begin, std::min<size_t>(text.find('\n', at) - begin, 100)) + "\n";
    };
    return "The texts differ in line " + std::to_string(std::count(same.begin(), same.end(), '\n') + 1) +
           ", character " + std::to_string(at - line + 1) + ":\n   expected: " + part(expected) +
           "     actual: " + part(actual) + "             " + std::string(at - begin, ' ') + "^\n";
}

namespace {

std::ifstream open(const std::string &path) {
    std::ifstream stream(path);
    if (!stream) {
        fprintf(stderr, "%s cannot be read\n", path.c_str());
        abort();
    }
    return stream;
}

const std::string DATA = TEST_DATA "/";

} // namespace

std::vector<Line> lines_of(const std::string &path) {
    std::ifstream stream = open(path);
    std::vector<Line> lines;
    int number = 0;
    for (std::string line; std::getline(stream, line);) {
        ++number;
        if (line[0] == ' ')
            lines.back().text += line.substr(line.find_first_not_of(' ') - 1);
        else if (!line.empty() && line[0] != '#')
            lines.push_back({number, line});
    }
    return lines;
}

std::vector<Row> table(const std::string &file) {
    Row names = {"\\n", "\n"};
    std::vector<Row> rows;
    for (const auto &[number, line] : lines_of(DATA + file)) {
        const bool defines = line[0] == '{' && line.find(" | ") == line.rfind(" | ");
        Row row;
        row.where = file + ":" + std::to_string(number);
        for (size_t at = 0, end; at < line.size(); at = end + 3) {
            end = std::min(line.find(" | ", at), line.size());
            std::string cell = line.substr(at, end - at);
            cell.erase(cell.find_last_not_of(' ') + 1);
            if (!defines || at != 0)
                for (size_t i = 0; i < names.size(); i += 2)
                    replace(cell, names[i], names[i + 1]);
            row.push_back(cell == "-" ? "" : cell);
        }
        if (defines)
            names.insert(names.end(), row.begin(), row.end());
        else
            rows.push_back(row);
    }
    return rows;
}

const std::string &Block::operator[](const std::string &key) const {
    static const std::string none;
    const auto found = values.find(key);
    return found == values.end() ? none : found->second;
}

std::vector<Block> blocks(const std::string &file) {
    std::ifstream stream = open(DATA + file);
    std::vector<Block> all;
    std::map<std::string, std::string> names;
    unsigned number = 0;
    std::string key;
    for (std::string line; std::getline(stream, line);) {
        ++number;
        if (line.empty() || line[0] == '#')
            continue;
        if (line[0] != ' ') {
            all.push_back({line, file + ":" + std::to_string(number), {}});
        } else if (line.rfind("    ", 0) == 0) {
            std::string text = line.substr(4);
            for (const auto &[name, meaning] : names)
                replace(text, name, meaning);
            if (all.back().name[0] == '{')
                names[all.back().name] += text;
            else
                all.back().values[key] += text + "\n";
        } else {
            const size_t end = std::min(line.find(' ', 2), line.size());
            key = line.substr(2, end - 2);
            const size_t begin = line.find_first_not_of(' ', end);
            all.back().values[key] = begin == std::string::npos ? "" : line.substr(begin);
        }
    }
    const auto defines = [](const Block &block) { return block.name[0] == '{'; };
    all.erase(std::remove_if(all.begin(), all.end(), defines), all.end());
    return all;
}

void update(const std::string &file, const std::string &key, const std::vector<std::string> &texts) {
    std::ifstream stream = open(DATA + file);
    std::string all;
    size_t block = 0;
    bool replaced = false;
    for (std::string line; std::getline(stream, line);) {
        const bool begins = line == "  " + key;
        if (begins || line.rfind("    ", 0) != 0)
            replaced = begins;
        if (!replaced || begins)
            all += line + "\n";
        std::istringstream lines(begins ? texts.at(block++) : "");
        for (std::string each; std::getline(lines, each);)
            all += "    " + each + "\n";
    }
    stream.close();
    std::ofstream(DATA + file) << all;
}

std::string lines(const std::string &file) {
    std::string all;
    for (const Row &row : table(file))
        all += row[0] + "\n";
    return all;
}

} // namespace test
