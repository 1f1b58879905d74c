#pragma once

#include <filesystem>
#include <map>
#include <string>
#include <vector>

#include <sys/types.h>

#include <nlohmann/json.hpp>

namespace ToolTest
{

using Json = nlohmann::json;

/// A folder of its own for a test, removed at the end.
class TestFolder
{
public:
    TestFolder();
    ~TestFolder();
    TestFolder(const TestFolder&) = delete;
    TestFolder& operator=(const TestFolder&) = delete;

    std::string operator/(const std::string& name) const { return (m_path / name).string(); }
    const std::filesystem::path& path() const { return m_path; }

    /// Writes a file and gives its path.
    std::string write(const std::string& name, const std::string& text) const;
    std::string write(const std::string& name, const Json& json) const
    {
        return write(name, json.dump());
    }
    std::vector<std::string> names() const; ///< of all that is in it, sorted

private:
    std::filesystem::path m_path;
};

std::string readFile(const std::string& path);

struct ProcessResult
{
    int status = -1; ///< -1 when a signal ended it
    std::string out, err;
};

using Environment = std::map<std::string, std::string>;

/// The tool, running. Its swap folder goes into the test's folder unless the environment says
/// otherwise, and $OCIO is not set.
class ToolProcess
{
public:
    ToolProcess(const TestFolder& folder, const std::vector<std::string>& arguments,
                const Environment& environment = {});
    ~ToolProcess(); ///< kills what has not been waited for

    pid_t pid() const { return m_pid; }
    std::string out() const; ///< so far, like err()
    std::string err() const;
    ProcessResult wait();

private:
    std::string m_outFile, m_errFile;
    pid_t m_pid = -1;
};

ProcessResult runTool(const TestFolder& folder, const std::vector<std::string>& arguments,
                      const Environment& environment = {});

/// A graph of these nodes, 100 pixels wide and 50 high.
Json graphOf(const Json& nodes, const std::vector<Json>& outputs = {});

}
