#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <utility>
#include <variant>
#include <vector>

#include <ImathColor.h>
#include <ImathVec.h>
#include <UTIL/Rect.h>
#include <UTIL/Region.h>

namespace QuiltTool
{

struct Curve
{
    std::vector<float> points; ///< x and y in turn; x never falls
};

class Values;
struct Value;

/// A parameter's value at one frame. Colours, vectors and matrices are their numbers; an
/// enumeration and a mask are an integer; the empty state is a default that is still to be worked
/// out.
struct Value
{
    std::variant<std::monostate, bool, int64_t, double, std::string, std::vector<double>,
                 std::vector<UTIL::Rect>, Curve, std::vector<Value>, std::shared_ptr<Values>>
        data;
};

/// The values of an operation's parameters, or of an object's fields, by name and type.
///
/// To ask for a name or a type that the table of operations does not give is a programming error
/// and throws std::logic_error.
class Values
{
public:
    void set(const std::string& name, Value value);

    /// False for a default that is to be worked out.
    bool has(const std::string& name) const;

    bool flag(const std::string& name) const;
    int64_t integer(const std::string& name) const;
    float number(const std::string& name) const;
    const std::string& text(const std::string& name) const;
    Imath::C4f color(const std::string& name) const;
    Imath::V2f vec2(const std::string& name) const;
    UTIL::Rect rect(const std::string& name) const;
    UTIL::Region region(const std::string& name) const;
    unsigned long mask(const std::string& name) const;
    std::vector<float> matrix(const std::string& name) const;
    const std::vector<float>& curve(const std::string& name) const; ///< x and y in turn
    const Values& object(const std::string& name) const;
    std::vector<float> numbers(const std::string& name) const;       ///< a list of numbers
    std::vector<std::string> texts(const std::string& name) const;   ///< a list of strings
    std::vector<unsigned long> masks(const std::string& name) const; ///< a list of masks
    std::vector<Imath::C4f> colors(const std::string& name) const;   ///< a list of colours
    std::vector<std::shared_ptr<Values>> objects(const std::string& name) const;

    template <class Enum>
    Enum choice(const std::string& name) const
    {
        return static_cast<Enum>(integer(name));
    }

    int64_t integerOr(const std::string& name, int64_t otherwise) const
    {
        return has(name) ? integer(name) : otherwise;
    }
    float numberOr(const std::string& name, float otherwise) const
    {
        return has(name) ? number(name) : otherwise;
    }
    Imath::V2f vec2Or(const std::string& name, const Imath::V2f& otherwise) const
    {
        return has(name) ? vec2(name) : otherwise;
    }
    UTIL::Rect rectOr(const std::string& name, const UTIL::Rect& otherwise) const
    {
        return has(name) ? rect(name) : otherwise;
    }

    /// All numbers, of objects within too, as exactly as operations get them: equal texts, equal
    /// numbers.
    std::string exactNumbers() const;

private:
    const Value& find(const std::string& name) const;
    template <class T>
    const T& get(const std::string& name) const;

    std::vector<std::pair<std::string, Value>> m_values;
};

/// Between two values of one numeric type and shape, `t` from 0 to 1; integers are rounded.
Value interpolated(const Value& a, const Value& b, double t);

/// True when both have the same type and number of numbers, so that there is something in between.
bool canInterpolate(const Value& a, const Value& b);

}
