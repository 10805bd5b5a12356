#pragma once

#include <sstream>
#include <string>
#include <string_view>
#include <vector>

namespace alidade {

/// A table of a Markdown page.
struct T_MARKDOWN_TABLE {
    std::string heading; // the one that it stands under, without its marks
    std::vector<std::string> columns;
    std::vector<std::vector<std::string>> rows; // as many cells as the line has
};

/// What a cell of the line shows: without space around it, a cell that is all code without its marks, and
/// "(empty)" as nothing.
inline std::vector<std::string> ReadMarkdownCells(std::string_view line)
{
    std::vector<std::string> cells;
    line.remove_prefix(1);
    for (std::size_t end = line.find('|'); end != line.npos; end = line.find('|')) {
        std::string_view cell = line.substr(0, end);
        line.remove_prefix(end + 1);
        const std::size_t first = cell.find_first_not_of(' ');
        cell = first != cell.npos ? cell.substr(first, cell.find_last_not_of(' ') - first + 1) : "";
        if (cell.size() > 2 && cell.find('`', 1) == cell.size() - 1 && cell.front() == '`') {
            cell = cell.substr(1, cell.size() - 2);
        }
        cells.emplace_back(cell != "(empty)" ? cell : "");
    }
    return cells;
}

/// All tables of a page, in order. What is in code blocks is no table.
inline std::vector<T_MARKDOWN_TABLE> ReadMarkdownTables(const std::string& page)
{
    std::vector<T_MARKDOWN_TABLE> tables;
    std::string heading;
    bool inCode = false, inTable = false;
    std::istringstream stream(page);
    for (std::string line; std::getline(stream, line);) {
        inCode ^= line.starts_with("```");
        const bool isRow = !inCode && line.starts_with("|");
        if (!inCode && line.starts_with("#")) {
            heading = line.substr(line.find_first_not_of("# "));
        } else if (isRow && !inTable) {
            tables.push_back({heading, ReadMarkdownCells(line), {}});
        } else if (isRow && !line.starts_with("|--")) {
            tables.back().rows.push_back(ReadMarkdownCells(line));
        }
        inTable = isRow;
    }
    return tables;
}

/// The first table under a heading, or an empty one.
inline T_MARKDOWN_TABLE FindMarkdownTable(const std::string& page, std::string_view heading)
{
    for (T_MARKDOWN_TABLE& table : ReadMarkdownTables(page)) {
        if (table.heading == heading) {
            return table;
        }
    }
    return {};
}

} // namespace alidade
