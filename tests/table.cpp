#include "table.h"

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <sstream>

namespace test {

Row split(const std::string &text, char at) {
    Row parts;
    std::istringstream stream(text);
    for (std::string part; std::getline(stream, part, at);)
        parts.push_back(part);
    return parts;
}

void replace(std::string &text, const std::string &what, const std::string &with) {
    for (size_t at = 0; (at = text.find(what, at)) != std::string::npos; at += with.size())
        text.replace(at, what.size(), with);
}

std::vector<Row> table(const std::string &file) {
    std::ifstream stream(TEST_DATA "/" + file);
    if (!stream) {
        fprintf(stderr, "%s/%s cannot be read\n", TEST_DATA, file.c_str());
        abort();
    }
    Row names = {"\\n", "\n"};
    std::vector<Row> rows;
    for (std::string line; std::getline(stream, line);) {
        if (line.empty() || line[0] == '#')
            continue;
        Row row;
        for (size_t at = 0, end; at < line.size(); at = end + 3) {
            end = std::min(line.find(" | ", at), line.size());
            std::string cell = line.substr(at, end - at);
            cell.erase(cell.find_last_not_of(' ') + 1);
            if (line[0] != '{' || at != 0)
                for (size_t i = 0; i < names.size(); i += 2)
                    replace(cell, names[i], names[i + 1]);
            row.push_back(cell == "-" ? "" : cell);
        }
        if (line[0] == '{')
            names.insert(names.end(), row.begin(), row.end());
        else
            rows.push_back(row);
    }
    return rows;
}

std::string lines(const std::string &file) {
    std::string all;
    for (const Row &row : table(file))
        all += row[0] + "\n";
    return all;
}

} // namespace test
