#include "Values.h"

#include <algorithm>
#include <cmath>
#include <stdexcept>
#include <type_traits>

#include "Text.h"

namespace QuiltTool
{

namespace
{

float toFloat(double number)
{
    return static_cast<float>(number);
}

Imath::C4f toColor(const std::vector<double>& numbers)
{
    return {toFloat(numbers.at(0)), toFloat(numbers.at(1)), toFloat(numbers.at(2)),
            toFloat(numbers.at(3))};
}

template <class T>
T mixed(const T& a, const T& b, double t)
{
    const double value = static_cast<double>(a) * (1 - t) + static_cast<double>(b) * t;
    if constexpr (std::is_integral_v<T>)
        return static_cast<T>(std::llround(value));
    else
        return static_cast<T>(value);
}

UTIL::Rect mixed(const UTIL::Rect& a, const UTIL::Rect& b, double t)
{
    return {mixed(a.x0, b.x0, t), mixed(a.y0, b.y0, t), mixed(a.x1, b.x1, t), mixed(a.y1, b.y1, t)};
}

template <class T>
std::vector<T> mixed(const std::vector<T>& a, const std::vector<T>& b, double t)
{
    std::vector<T> all;
    for (size_t i = 0; i < a.size(); ++i)
        all.push_back(mixed(a[i], b[i], t));
    return all;
}

template <class T>
const T& as(const Value& value, const std::string& name)
{
    if (const T* data = std::get_if<T>(&value.data))
        return *data;
    throw std::logic_error("The parameter " + name + " has another type.");
}

// Writes numbers behind one another, none like another.
class ExactNumbers
{
public:
    const std::string& text() const { return m_text; }

    void operator()(std::monostate) {}
    void operator()(bool) {}
    void operator()(const std::string&) {}
    void operator()(int64_t number) { m_text += std::to_string(number) + ','; }
    void operator()(double number) { (*this)(toFloat(number)); }
    void operator()(float number) { m_text += numberText(number) + ','; }
    void operator()(const UTIL::Rect& rect) { all(rect.x0, rect.y0, rect.x1, rect.y1); }
    void operator()(const Curve& curve) { (*this)(curve.points); }
    void operator()(const Value& value) { std::visit(*this, value.data); }
    void operator()(const std::shared_ptr<Values>& object) { m_text += object->exactNumbers(); }

    template <class T>
    void operator()(const std::vector<T>& list)
    {
        for (const T& element : list)
            (*this)(element);
        m_text += ';';
    }

private:
    template <class... T>
    void all(const T&... parts)
    {
        ((*this)(parts), ...);
    }

    std::string m_text;
};

template <class T, class Convert>
auto allOf(const std::vector<Value>& list, const std::string& name, Convert convert)
{
    std::vector<decltype(convert(std::declval<const T&>()))> all;
    for (const Value& value : list)
        all.push_back(convert(as<T>(value, name)));
    return all;
}

}

void Values::set(const std::string& name, Value value)
{
    m_values.emplace_back(name, std::move(value));
}

std::string Values::exactNumbers() const
{
    ExactNumbers numbers;
    for (const auto& [name, value] : m_values)
        numbers(value);
    return numbers.text();
}

const Value& Values::find(const std::string& name) const
{
    const auto found =
        std::ranges::find(m_values, name, [](const auto& entry) { return entry.first; });
    if (found == m_values.end())
        throw std::logic_error("There is no parameter " + name + ".");
    return found->second;
}

template <class T>
const T& Values::get(const std::string& name) const
{
    return as<T>(find(name), name);
}

bool Values::has(const std::string& name) const
{
    return !std::holds_alternative<std::monostate>(find(name).data);
}

bool Values::flag(const std::string& name) const
{
    return get<bool>(name);
}

int64_t Values::integer(const std::string& name) const
{
    return get<int64_t>(name);
}

float Values::number(const std::string& name) const
{
    return toFloat(get<double>(name));
}

const std::string& Values::text(const std::string& name) const
{
    return get<std::string>(name);
}

Imath::C4f Values::color(const std::string& name) const
{
    return toColor(get<std::vector<double>>(name));
}

Imath::V2f Values::vec2(const std::string& name) const
{
    const auto& numbers = get<std::vector<double>>(name);
    return {toFloat(numbers.at(0)), toFloat(numbers.at(1))};
}

UTIL::Rect Values::rect(const std::string& name) const
{
    return get<std::vector<UTIL::Rect>>(name).at(0);
}

UTIL::Region Values::region(const std::string& name) const
{
    return UTIL::Region::fromRectangles(get<std::vector<UTIL::Rect>>(name));
}

unsigned long Values::mask(const std::string& name) const
{
    return static_cast<unsigned long>(integer(name));
}

std::vector<float> Values::matrix(const std::string& name) const
{
    const auto& numbers = get<std::vector<double>>(name);
    std::vector<float> all(numbers.size());
    std::ranges::transform(numbers, all.begin(), toFloat);
    return all;
}

const std::vector<float>& Values::curve(const std::string& name) const
{
    return get<Curve>(name).points;
}

const Values& Values::object(const std::string& name) const
{
    return *get<std::shared_ptr<Values>>(name);
}

std::vector<float> Values::numbers(const std::string& name) const
{
    return allOf<double>(get<std::vector<Value>>(name), name, toFloat);
}

std::vector<std::string> Values::texts(const std::string& name) const
{
    return allOf<std::string>(get<std::vector<Value>>(name), name,
                              [](const std::string& text) { return text; });
}

std::vector<unsigned long> Values::masks(const std::string& name) const
{
    return allOf<int64_t>(get<std::vector<Value>>(name), name,
                          [](int64_t mask) { return static_cast<unsigned long>(mask); });
}

std::vector<Imath::C4f> Values::colors(const std::string& name) const
{
    return allOf<std::vector<double>>(get<std::vector<Value>>(name), name, toColor);
}

std::vector<std::shared_ptr<Values>> Values::objects(const std::string& name) const
{
    return allOf<std::shared_ptr<Values>>(
        get<std::vector<Value>>(name), name,
        [](const std::shared_ptr<Values>& values) { return values; });
}

bool canInterpolate(const Value& a, const Value& b)
{
    if (a.data.index() != b.data.index())
        return false;
    const auto sameSize = [&](const auto& list) {
        return list.size() == std::get<std::decay_t<decltype(list)>>(b.data).size();
    };
    if (const auto* numbers = std::get_if<std::vector<double>>(&a.data))
        return sameSize(*numbers);
    if (const auto* rects = std::get_if<std::vector<UTIL::Rect>>(&a.data))
        return sameSize(*rects);
    if (const auto* curve = std::get_if<Curve>(&a.data))
        return curve->points.size() == std::get<Curve>(b.data).points.size();
    return std::holds_alternative<int64_t>(a.data) || std::holds_alternative<double>(a.data);
}

Value interpolated(const Value& a, const Value& b, double t)
{
    const auto between = [&](const auto& first) -> Value {
        using T = std::decay_t<decltype(first)>;
        const T& second = std::get<T>(b.data);
        if constexpr (std::is_same_v<T, Curve>)
            return {Curve{mixed(first.points, second.points, t)}};
        else if constexpr (std::is_same_v<T, int64_t> || std::is_same_v<T, double> ||
                           std::is_same_v<T, std::vector<double>> ||
                           std::is_same_v<T, std::vector<UTIL::Rect>>)
            return {mixed(first, second, t)};
        else
            throw std::logic_error("There is nothing between values of this type.");
    };
    return std::visit(between, a.data);
}

}
