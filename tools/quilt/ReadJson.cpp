#include "ReadJson.h"

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>
#include <set>

#include "Text.h"

namespace QuiltTool
{

namespace
{

// Follows the parser through the document and knows where it is.
class DuplicateKeys
{
public:
    explicit DuplicateKeys(Problems& problems) : m_problems(problems) {}

    void follow(Json::parse_event_t event, const Json& parsed)
    {
        switch (event)
        {
        case Json::parse_event_t::object_start:
        case Json::parse_event_t::array_start:
            m_levels.push_back({event == Json::parse_event_t::array_start, {}, {}, 0});
            break;
        case Json::parse_event_t::key:
            key(parsed.get_ref<const std::string&>());
            break;
        case Json::parse_event_t::object_end:
        case Json::parse_event_t::array_end:
            m_levels.pop_back();
            valueEnded();
            break;
        case Json::parse_event_t::value:
            valueEnded();
            break;
        }
    }

private:
    struct Level
    {
        bool isArray;
        std::set<std::string> keys;
        std::string key;
        size_t index;
    };

    void key(const std::string& name)
    {
        m_levels.back().key = name;
        if (!m_levels.back().keys.insert(name).second)
            m_problems.add(place(), "duplicate key");
    }

    void valueEnded()
    {
        if (!m_levels.empty())
            ++m_levels.back().index;
    }

    std::string place() const
    {
        std::string all;
        for (const Level& level : m_levels)
            all = level.isArray ? below(all, level.index) : below(all, level.key);
        return all;
    }

    Problems& m_problems;
    std::vector<Level> m_levels;
};

// The library's messages begin with an identifier of their own.
std::string withoutIdentifier(const std::string& message)
{
    const size_t end = message.find("] ");
    return end == std::string::npos ? message : message.substr(end + 2);
}

}

Json readJson(const std::string& text, const std::string& path, Problems& problems)
{
    DuplicateKeys duplicates(problems);
    try
    {
        return Json::parse(
            text,
            [&](int, Json::parse_event_t event, Json& parsed) {
                duplicates.follow(event, parsed);
                return true;
            },
            true, true);
    }
    catch (const Json::exception& error)
    {
        throw UsageError(path + ": " + withoutIdentifier(error.what()));
    }
}

std::string readText(const std::string& path)
{
    if (path == "-")
        return {std::istreambuf_iterator<char>(std::cin), {}};
    if (std::filesystem::is_directory(path))
        throw UsageError(path + ": cannot be read: it is a folder");
    errno = 0;
    std::ifstream file(path, std::ios::binary);
    if (!file)
        throw UsageError(path + ": cannot be read: " + std::strerror(errno));
    return {std::istreambuf_iterator<char>(file), {}};
}

}
