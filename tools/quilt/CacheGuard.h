#pragma once

#include <map>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "Build.h"

namespace QuiltTool
{

/// Keeps the cache of finished tiles from answering with the pixels of other numbers.
///
/// Identities hold six digits of a number, so that a node whose number has changed beyond these
/// would get its old tiles back. The guard remembers which numbers the nodes of an identity had
/// since the cache was empty, and empties it when they have others now.
class CacheGuard
{
public:
    /// To be called with each frame in front of its render. Gives the nodes on whose behalf the
    /// cache was emptied.
    std::vector<std::string> check(const GraphFile& graph, const Frame& frame);

private:
    using Identity = std::pair<const Operation*, std::string>;
    using Numbers = std::map<Identity, std::set<size_t>>; // as hashes; nodes may share an identity

    Numbers m_known;
};

}
