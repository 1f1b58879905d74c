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

// Goes through a document that can be parsed, and knows where it is.
class DuplicateKeys final : public nlohmann::json_sax<Json>
{
public:
    explicit DuplicateKeys(Problems& problems) : m_problems(problems) {}

    bool null() override { return valueEnded(); }
    bool boolean(bool) override { return valueEnded(); }
    bool number_integer(int64_t) override { return valueEnded(); }
    bool number_unsigned(uint64_t) override { return valueEnded(); }
    bool number_float(double, const std::string&) override { return valueEnded(); }
    bool string(std::string&) override { return valueEnded(); }
    bool binary(Json::binary_t&) override { return valueEnded(); }
    bool start_object(size_t) override { return begin(false); }
    bool start_array(size_t) override { return begin(true); }
    bool end_object() override { return end(); }
    bool end_array() override { return end(); }

    bool key(std::string& name) override
    {
        m_levels.back().key = name;
        if (!m_levels.back().keys.insert(name).second)
            m_problems.add(place(), "duplicate key");
        return true;
    }

    bool parse_error(size_t, const std::string&, const Json::exception&) override { return false; }

private:
    struct Level
    {
        bool isArray;
        std::set<std::string> keys;
        std::string key;
        size_t index;
    };

    bool begin(bool isArray)
    {
        m_levels.push_back({isArray, {}, {}, 0});
        return true;
    }

    bool end()
    {
        m_levels.pop_back();
        return valueEnded();
    }

    bool valueEnded()
    {
        if (!m_levels.empty())
            ++m_levels.back().index;
        return true;
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
    try
    {
        // Once more for the keys: the parser's own call-back walks all of an object again for each
        // object in it.
        Json document = Json::parse(text, nullptr, true, true);
        DuplicateKeys duplicates(problems);
        Json::sax_parse(text, &duplicates, Json::input_format_t::json, true, true);
        return document;
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
