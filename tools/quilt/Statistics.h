#pragma once

#include <map>
#include <string>
#include <vector>

#include <QUILT/RenderManager.h>
#include <QUILT/RenderObserver.h>

#include "GraphFile.h"
#include "PerThread.h"

namespace QuiltTool
{

/// What the nodes of a graph cost, over all frames of a run.
class NodeStatistics
{
public:
    /// On the thread that the tile was on.
    void add(const QUILT::TileReport& report);

    /// A row a node, those that took longest first, and the sum below. A node that came to be
    /// several tasks is their sum, and has a row for each of them under it. What the engine has put
    /// in by itself is one more row. Nodes without tiles have none.
    std::string table(const GraphFile& graph);

private:
    struct Totals
    {
        size_t tiles = 0, cached = 0;
        double seconds = 0; ///< on all threads together
        double pixels = 0;  ///< rendered

        Totals& operator+=(const Totals& other);
    };

    struct Row
    {
        std::string name, type;
        Totals totals;
    };

    struct NodeRow : Row
    {
        std::vector<Row> tasks;
    };

    using ByTask = std::map<std::string, std::map<std::string, Totals>>; // by name, then by type

    std::vector<NodeRow> nodeRows(const GraphFile& graph);
    static std::vector<std::string> cells(const Row& row, double allSeconds);

    PerThread<ByTask> m_byThread;
};

/// A tree of figures as text: a line each, the children indented.
std::string reportText(const QUILT::XmlElement& report);

}
