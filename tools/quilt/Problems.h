#pragma once

#include <exception>
#include <string>
#include <utility>
#include <vector>

namespace QuiltTool
{

/// Something wrong with a graph file.
struct Problem
{
    std::string place; ///< JSON pointer, or empty where the whole file is meant
    std::string text;
};

/// All that is wrong with a graph file, each once, in the order in which it was found.
class Problems
{
public:
    void add(const std::string& place, const std::string& text) { m_list.push_back({place, text}); }

    bool isEmpty() const { return m_list.empty(); }
    size_t size() const { return m_list.size(); }
    const std::vector<Problem>& list() const { return m_list; }

private:
    std::vector<Problem> m_list;
};

/// The command line or the graph file is wrong; ends the command with exit status 2. Each line is
/// complete in itself.
class UsageError : public std::exception
{
public:
    explicit UsageError(std::string line) : m_lines{std::move(line)} {}
    explicit UsageError(std::vector<std::string> lines) : m_lines(std::move(lines)) {}

    const char* what() const noexcept override { return m_lines.front().c_str(); }
    const std::vector<std::string>& lines() const { return m_lines; }

private:
    std::vector<std::string> m_lines; // one or more
};

/// What the tool itself cannot do, such as writing a report; ends the command with exit status 1.
class Failed : public std::exception
{
public:
    explicit Failed(std::string text) : m_text(std::move(text)) {}
    const char* what() const noexcept override { return m_text.c_str(); }

private:
    std::string m_text;
};

}
