// Looks up four floats for each lane, compiled for the instruction set at hand.
#if defined(EMULSION_LOAD_FOURS_INL_H_) == defined(HWY_TARGET_TOGGLE)
#ifdef EMULSION_LOAD_FOURS_INL_H_
#undef EMULSION_LOAD_FOURS_INL_H_
#else
#define EMULSION_LOAD_FOURS_INL_H_
#endif

#include <cstdint>

#include <hwy/highway.h>

HWY_BEFORE_NAMESPACE();
namespace EMULSION::HWY_NAMESPACE
{

namespace hn = hwy::HWY_NAMESPACE;

#if HWY_TARGET != HWY_SCALAR
// The fours of every fourth lane, each in a block of its own.
template <class D>
HWY_INLINE hn::Vec<D> loadBlocks(D d, const float* table, const int32_t* offsets)
{
    if constexpr (hn::MaxLanes(D()) == 4)
        return hn::Load(d, table + *offsets);
    else
    {
        const hn::Half<D> half;
        const auto lower = loadBlocks(half, table, offsets);
        return hn::Combine(d, loadBlocks(half, table, offsets + hn::Lanes(half)), lower);
    }
}
#endif

// Of the four floats at each lane's offset, which are aligned to 16 bytes, the k-th in fours[k].
// Single loads and not gathers: on processors that are guarded against what gathers give away,
// these are slower.
template <class D, class V = hn::Vec<D>>
HWY_INLINE void loadFours(D d, const float* table, const int32_t* offsets, V (&fours)[4])
{
    if constexpr (hn::MaxLanes(D()) == 1)
    {
        for (int k = 0; k < 4; ++k)
            fours[k] = hn::Set(d, table[*offsets + k]);
    }
#if HWY_TARGET != HWY_SCALAR
    else
    {
        const V row0 = loadBlocks(d, table, offsets), row1 = loadBlocks(d, table, offsets + 1),
                row2 = loadBlocks(d, table, offsets + 2), row3 = loadBlocks(d, table, offsets + 3);
        const V lowerEven = hn::InterleaveLower(d, row0, row2);
        const V lowerOdd = hn::InterleaveLower(d, row1, row3);
        const V upperEven = hn::InterleaveUpper(d, row0, row2);
        const V upperOdd = hn::InterleaveUpper(d, row1, row3);
        fours[0] = hn::InterleaveLower(d, lowerEven, lowerOdd);
        fours[1] = hn::InterleaveUpper(d, lowerEven, lowerOdd);
        fours[2] = hn::InterleaveLower(d, upperEven, upperOdd);
        fours[3] = hn::InterleaveUpper(d, upperEven, upperOdd);
    }
#endif
}

}
HWY_AFTER_NAMESPACE();

#endif
