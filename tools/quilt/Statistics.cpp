#include "Statistics.h"

#include <algorithm>
#include <cstdio>

#include <Bramble3/XmlElement.h>

#include "Build.h"

namespace QuiltTool
{

namespace
{

constexpr const char* s_engine = "(engine)";

// As a terminal counts them: the bytes behind the first of a character take no place.
size_t widthOf(const std::string& text)
{
    return static_cast<size_t>(
        std::ranges::count_if(text, [](char c) { return (c & 0xC0) != 0x80; }));
}

std::string fixedText(double number, int decimals)
{
    char text[64];
    std::snprintf(text, sizeof text, "%.*f", decimals, number);
    return text;
}

// The first two columns are words and stand to the left, the others are numbers.
std::string aligned(const std::vector<std::vector<std::string>>& rows)
{
    constexpr size_t words = 2;
    std::vector<size_t> widths(rows.front().size());
    for (const std::vector<std::string>& row : rows)
        for (size_t i = 0; i < row.size(); ++i)
            widths[i] = std::max(widths[i], widthOf(row[i]));
    std::string text;
    for (const std::vector<std::string>& row : rows)
    {
        for (size_t i = 0; i < row.size(); ++i)
        {
            const std::string blanks(widths[i] - widthOf(row[i]), ' ');
            text += (i > 0 ? "  " : "") + (i < words ? row[i] + blanks : blanks + row[i]);
        }
        text.erase(text.find_last_not_of(' ') + 1);
        text += '\n';
    }
    return text;
}

void addFigures(const QUILT::XmlElement& element, const std::string& indent,
                std::vector<std::vector<std::string>>& rows)
{
    rows.push_back({indent + element->getName(), ""});
    rows.reserve(rows.size() + element->getAttributes().size());
    for (const auto& [name, value] : element->getAttributes())
        rows.push_back({indent + "  " + name, value});
    for (const QUILT::XmlElement& child : element->getChildren())
        addFigures(child, indent + "  ", rows);
}

}

NodeStatistics::Totals& NodeStatistics::Totals::operator+=(const Totals& other)
{
    tiles += other.tiles;
    cached += other.cached;
    seconds += other.seconds;
    pixels += other.pixels;
    return *this;
}

void NodeStatistics::add(const QUILT::TileReport& report)
{
    const UTIL::Rect& rect = report.rect;
    Totals tile{1, 1, 0, 0};
    if (!report.fromCache)
        tile = {1, 0, report.span.seconds(),
                static_cast<double>(rect.x1 - rect.x0) * static_cast<double>(rect.y1 - rect.y0)};
    m_byThread.withOwn([&](ByTask& byTask) { byTask[report.taskName][report.taskType] += tile; });
}

std::vector<NodeStatistics::NodeRow> NodeStatistics::nodeRows(const GraphFile& graph)
{
    ByTask byTask;
    m_byThread.forEach([&](const ByTask& ofThread) {
        for (const auto& [name, types] : ofThread)
            for (const auto& [type, totals] : types)
                byTask[name][type] += totals;
    });

    std::map<const Node*, NodeRow> byNode;
    for (const auto& [name, types] : byTask)
        for (const auto& [type, totals] : types)
        {
            const Node* const node = nodeOf(graph, name);
            NodeRow& row = byNode[node];
            row.name = node ? node->name : s_engine;
            row.type = node ? node->operation->name : "";
            row.totals += totals;
            row.tasks.push_back({"  " + name, type, totals});
        }

    const auto later = [](const Row& a, const Row& b) {
        return a.totals.seconds != b.totals.seconds ? a.totals.seconds > b.totals.seconds
                                                    : a.name < b.name;
    };
    std::vector<NodeRow> rows;
    for (auto& [node, row] : byNode)
    {
        std::ranges::sort(row.tasks, later);
        if (node && row.tasks.size() == 1)
            row.tasks.clear();
        rows.push_back(std::move(row));
    }
    std::ranges::sort(rows, later);
    return rows;
}

std::vector<std::string> NodeStatistics::cells(const Row& row, double allSeconds)
{
    const Totals& totals = row.totals;
    const auto ratio = [](double a, double b, int decimals, const char* unit) {
        return b > 0 ? fixedText(a / b, decimals) + unit : "-";
    };
    return {row.name,
            row.type,
            std::to_string(totals.tiles),
            std::to_string(totals.cached),
            fixedText(totals.seconds, 3),
            ratio(totals.seconds, totals.pixels * 1e-6, 4, ""),
            ratio(totals.seconds * 100, allSeconds, 1, "%")};
}

std::string NodeStatistics::table(const GraphFile& graph)
{
    const std::vector<NodeRow> rows = nodeRows(graph);
    Row sum{"all nodes", "", {}};
    for (const NodeRow& row : rows)
        sum.totals += row.totals;
    std::vector<std::vector<std::string>> lines = {
        {"node", "operation", "tiles", "cached", "seconds", "s/Mpixel", "share"}};
    for (const NodeRow& row : rows)
    {
        lines.push_back(cells(row, sum.totals.seconds));
        for (const Row& task : row.tasks)
            lines.push_back(cells(task, sum.totals.seconds));
    }
    lines.push_back(cells(sum, sum.totals.seconds));
    return aligned(lines);
}

std::string reportText(const QUILT::XmlElement& report)
{
    std::vector<std::vector<std::string>> rows;
    addFigures(report, "", rows);
    return aligned(rows);
}

}
