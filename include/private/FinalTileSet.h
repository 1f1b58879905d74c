#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

namespace QUILT::Private
{

/// Which final tiles of a render need a tile: a bit set that keeps only the words that are not
/// zero.
///
/// A render may have a million tiles of either sort. Most tiles serve one final tile or a few
/// neighbours, and those that serve all of them, above a task that renders in full frame, share one
/// list of words. A plain value.
class FinalTileSet
{
public:
    static constexpr size_t npos = static_cast<size_t>(-1);

    size_t size() const { return m_size; } ///< number of bits, set or not

    /// Makes it `size` bits long, which is not below any bit that is set.
    void resize(size_t size) { m_size = size; }

    /// Makes it the set of that one bit, and long enough for it.
    void setOnly(size_t index);
    bool test(size_t index) const;

    /// Sets all bits that are set in the other one.
    void unite(const FinalTileSet& other);

    /// The first bit that is set; npos when none is.
    size_t first() const;

    /// The smallest ordering[i] over all bits i that are set; npos when none is.
    size_t leastOf(const std::vector<unsigned int>& ordering) const;

private:
    struct Word
    {
        size_t index = 0; // of its first bit, divided by 64
        uint64_t bits = 0;
    };
    using Words = std::vector<Word>; // in order of index, none zero

    const Word* begin() const { return m_many ? m_many->data() : &m_single; }
    const Word* end() const { return begin() + (m_many ? m_many->size() : m_single.bits != 0); }
    bool holdsAllOf(const FinalTileSet& other) const;

    size_t m_size = 0;
    Word m_single;                       // the only word, zero for none
    std::shared_ptr<const Words> m_many; // instead of it, where there are more
};

}
