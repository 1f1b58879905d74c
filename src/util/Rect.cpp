#include "UTIL/Rect.h"

#include <sstream>
#include <stdexcept>
#include <string>

namespace UTIL
{

namespace
{

// Which of the two sums is asked for, and the words of its failure.
struct Move
{
    const char* failure;
    bool subtractFirst; // padding moves the lower edges the other way
};

// Moves one coordinate. An overflow is remembered, and leaves 0.
int64_t moved(int64_t coordinate, int64_t amount, bool subtract, bool& overflow)
{
    int64_t result = 0;
    const bool wrapped = subtract ? __builtin_sub_overflow(coordinate, amount, &result)
                                  : __builtin_add_overflow(coordinate, amount, &result);
    overflow |= wrapped;
    return wrapped ? 0 : result;
}

Rect movedEdges(const Rect& rect, int64_t dx, int64_t dy, bool checked, const Move& move)
{
    bool overflow = false;
    const Rect result(moved(rect.x0, dx, move.subtractFirst, overflow),
                      moved(rect.y0, dy, move.subtractFirst, overflow),
                      moved(rect.x1, dx, false, overflow), moved(rect.y1, dy, false, overflow));
    if (overflow && checked)
    {
        std::ostringstream text;
        text.imbue(std::locale::classic());
        text << move.failure << rect << " by (" << dx << "," << dy << "). "
             << "Overflow detected.";
        throw std::runtime_error(text.str());
    }
    return result;
}

}

Rect Rect::pad(int64_t dx, int64_t dy, bool checked) const
{
    return movedEdges(*this, dx, dy, checked, {"Error padding rectangle ", true});
}

Rect Rect::offset(int64_t dx, int64_t dy, bool checked) const
{
    return movedEdges(*this, dx, dy, checked, {"Error offsetting rectangle ", false});
}

std::ostream& operator<<(std::ostream& stream, const Rect& rect)
{
    return stream << '(' << std::to_string(rect.x0) << ',' << std::to_string(rect.y0) << ','
                  << std::to_string(rect.x1) << ',' << std::to_string(rect.y1) << ')';
}

}
