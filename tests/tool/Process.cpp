#include "Process.h"

#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <stdexcept>

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace ToolTest
{

namespace
{

void redirect(const std::string& file, int descriptor, int flags)
{
    const int opened = ::open(file.c_str(), flags, 0600);
    if (opened < 0 || ::dup2(opened, descriptor) < 0)
        ::_exit(126);
    ::close(opened);
}

}

TestFolder::TestFolder()
{
    std::string name = (std::filesystem::temp_directory_path() / "quilt-test-XXXXXX").string();
    if (!::mkdtemp(name.data()))
        throw std::runtime_error("no folder for the test");
    m_path = name;
}

TestFolder::~TestFolder()
{
    std::error_code ignored;
    std::filesystem::remove_all(m_path, ignored);
}

std::string TestFolder::write(const std::string& name, const std::string& text) const
{
    std::ofstream(m_path / name) << text;
    return *this / name;
}

std::vector<std::string> TestFolder::names() const
{
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(m_path))
        names.push_back(entry.path().filename());
    std::ranges::sort(names);
    return names;
}

std::string readFile(const std::string& path)
{
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

ToolProcess::ToolProcess(const TestFolder& folder, const std::vector<std::string>& arguments,
                         const Environment& environment)
    : m_outFile(folder / ".out"), m_errFile(folder / ".err")
{
    std::vector<std::string> words = {QUILT_TOOL};
    words.insert(words.end(), arguments.begin(), arguments.end());
    std::vector<char*> pointers;
    for (std::string& word : words)
        pointers.push_back(word.data());
    pointers.push_back(nullptr);
    m_pid = ::fork();
    if (m_pid < 0)
        throw std::runtime_error("no process");
    if (m_pid > 0)
        return;
    // A shell starts what runs in its background with these ignored, and the tool would stay so.
    for (const int signal : {SIGINT, SIGTERM, SIGHUP})
        ::signal(signal, SIG_DFL);
    ::unsetenv("OCIO");
    ::setenv("LANTERN_TMPDIR", folder.path().c_str(), 1);
    for (const auto& [name, value] : environment)
        ::setenv(name.c_str(), value.c_str(), 1);
    redirect("/dev/null", STDIN_FILENO, O_RDONLY);
    redirect(m_outFile, STDOUT_FILENO, O_WRONLY | O_CREAT | O_TRUNC);
    redirect(m_errFile, STDERR_FILENO, O_WRONLY | O_CREAT | O_TRUNC);
    ::execv(QUILT_TOOL, pointers.data());
    ::_exit(127);
}

ToolProcess::~ToolProcess()
{
    if (m_pid < 0)
        return;
    ::kill(m_pid, SIGKILL);
    ::waitpid(m_pid, nullptr, 0);
}

std::string ToolProcess::out() const
{
    return readFile(m_outFile);
}

std::string ToolProcess::err() const
{
    return readFile(m_errFile);
}

ProcessResult ToolProcess::wait()
{
    int status = 0;
    ::waitpid(m_pid, &status, 0);
    m_pid = -1;
    ProcessResult result;
    result.status = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    result.out = readFile(m_outFile);
    result.err = readFile(m_errFile);
    std::filesystem::remove(m_outFile);
    std::filesystem::remove(m_errFile);
    return result;
}

ProcessResult runTool(const TestFolder& folder, const std::vector<std::string>& arguments,
                      const Environment& environment)
{
    return ToolProcess(folder, arguments, environment).wait();
}

Json graphOf(const Json& nodes, const std::vector<Json>& outputs)
{
    return {{"quilt", 1}, {"format", {0, 0, 100, 50}}, {"nodes", nodes}, {"outputs", outputs}};
}

}
