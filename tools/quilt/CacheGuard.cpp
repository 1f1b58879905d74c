#include "CacheGuard.h"

#include <algorithm>
#include <functional>

#include <QUILT/RenderManager.h>

namespace QuiltTool
{

namespace
{

// So many identities take some hundred megabytes; a session of days gets there.
constexpr size_t s_mostIdentities = 1'000'000;

}

std::vector<std::string> CacheGuard::check(const GraphFile& graph, const Frame& frame)
{
    Numbers current;
    std::vector<std::string> changed;
    if (!QUILT::RenderManager::getSpeculativeCachingEnable())
        return changed; // nothing is kept, and nothing that was kept is found
    for (size_t i = 0; i < graph.nodes.size(); ++i)
    {
        const Node& node = graph.nodes[i];
        // What writes files is never kept.
        if (!frame.tasks[i] || node.operation == &fileOut())
            continue;
        const Identity identity(node.operation, frame.tasks[i]->getCacheID());
        const size_t numbers = std::hash<std::string>()(
            graph.valuesOf(node, frame.number, frame.format).exactNumbers());
        current[identity].insert(numbers);
        const auto known = m_known.find(identity);
        if (known != m_known.end() && !known->second.contains(numbers))
            changed.push_back(node.name);
    }
    if (!changed.empty() || m_known.size() > std::max(s_mostIdentities, 2 * current.size()))
    {
        QUILT::RenderManager::clearSpeculativeCache();
        m_known.clear();
    }
    for (const auto& [identity, numbers] : current)
        m_known[identity].insert(numbers.begin(), numbers.end());
    return changed;
}

}
