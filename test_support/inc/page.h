// A page of docs/, for tests: by line, and by table.
#pragma once

#include <fstream>
#include <sstream>
#include <string>
#include <vector>

namespace test {

inline std::string trimmed(const std::string& text) {
    const auto first = text.find_first_not_of(" \r");
    return first == std::string::npos ? "" : text.substr(first, text.find_last_not_of(" \r") - first + 1);
}

class Page {
public:
    using Row = std::vector<std::string>;

    explicit Page(const char* path) {
        std::ifstream file(path);
        for (std::string line; std::getline(file, line);) _lines.push_back(line);
    }

    const std::vector<std::string>& lines() const { return _lines; }

    /// Rows of the tables below a heading, which is given with its marks ("## Commands"), up to the next heading of its
    /// level; without the first table's header row; each cell without surrounding blanks.
    std::vector<Row> tableOf(const std::string& heading) const {
        const std::string marks = heading.substr(0, heading.find(' ') + 1);
        std::vector<Row> rows;
        bool inside = false;
        for (const std::string& line : _lines) {
            if (line.starts_with(marks)) inside = trimmed(line) == heading;
            if (inside && line.starts_with("|")) rows.push_back(cellsOf(line));
        }
        if (rows.size() > 2) rows.erase(rows.begin(), rows.begin() + 2);
        return rows;
    }

private:
    static Row cellsOf(const std::string& line) {
        Row cells;
        std::istringstream rest(trimmed(line).substr(1));
        for (std::string cell; std::getline(rest, cell, '|');) cells.push_back(trimmed(cell));
        return cells;
    }

    std::vector<std::string> _lines;
};

}  // namespace test
