#include "private/FinalTileSet.h"

#include <algorithm>
#include <bit>

namespace QUILT::Private
{

void FinalTileSet::setOnly(size_t index)
{
    m_size = std::max(m_size, index + 1);
    m_single = Word{index / 64, uint64_t{1} << (index % 64)};
    m_many = nullptr;
}

bool FinalTileSet::test(size_t index) const
{
    const Word* const word = std::lower_bound(
        begin(), end(), index / 64, [](const Word& w, size_t wanted) { return w.index < wanted; });
    return word != end() && word->index == index / 64 && (word->bits >> (index % 64) & 1) != 0;
}

bool FinalTileSet::holdsAllOf(const FinalTileSet& other) const
{
    const Word* mine = begin();
    for (const Word* theirs = other.begin(); theirs != other.end(); ++theirs)
    {
        while (mine != end() && mine->index < theirs->index)
            ++mine;
        if (mine == end() || mine->index != theirs->index || (theirs->bits & ~mine->bits) != 0)
            return false;
    }
    return true;
}

void FinalTileSet::unite(const FinalTileSet& other)
{
    m_size = std::max(m_size, other.m_size);
    if ((m_many && m_many == other.m_many) || holdsAllOf(other))
        return;
    if (other.holdsAllOf(*this))
    {
        m_single = other.m_single;
        m_many = other.m_many;
        return;
    }

    auto words = std::make_shared<Words>(begin(), end());
    for (const Word* theirs = other.begin(); theirs != other.end(); ++theirs)
    {
        const auto place = std::ranges::lower_bound(*words, theirs->index, {}, &Word::index);
        if (place != words->end() && place->index == theirs->index)
            place->bits |= theirs->bits;
        else
            words->insert(place, *theirs);
    }
    if (words->size() == 1)
        m_single = words->front();
    else
        m_many = std::move(words);
}

size_t FinalTileSet::first() const
{
    if (begin() == end())
        return npos;
    return begin()->index * 64 + static_cast<size_t>(std::countr_zero(begin()->bits));
}

size_t FinalTileSet::leastOf(const std::vector<unsigned int>& ordering) const
{
    size_t least = npos;
    for (const Word* word = begin(); word != end(); ++word)
    {
        for (uint64_t bits = word->bits; bits != 0; bits &= bits - 1)
        {
            const size_t index = word->index * 64 + static_cast<size_t>(std::countr_zero(bits));
            least = std::min<size_t>(least, ordering[index]);
        }
    }
    return least;
}

}
