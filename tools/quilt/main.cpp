// quilt: renders graph files, and tells what is in them.

#include <exception>
#include <iostream>

#include <fcntl.h>
#include <unistd.h>

#include "CommandLine.h"
#include "Problems.h"

namespace
{

// Some programs start others with these closed. The next file that is opened would get the number
// of one, and what is told there would go into that file.
void occupyStandardDescriptors()
{
    for (const int descriptor : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO})
        if (::fcntl(descriptor, F_GETFD) < 0)
            ::open("/dev/null", O_RDONLY); // takes the lowest number; writing there is an error
}

}

int main(int argc, char** argv)
{
    constexpr int failed = 1, wrongUsage = 2;
    constexpr size_t mostLines = 100;
    occupyStandardDescriptors();
    try
    {
        const int status = QuiltTool::runCommandLine(argc, argv);
        std::cout.flush();
        if (!std::cout)
        {
            std::cerr << "quilt: standard output cannot be written\n";
            return failed;
        }
        return status;
    }
    catch (const QuiltTool::UsageError& error)
    {
        for (size_t i = 0; i < error.lines().size() && i < mostLines; ++i)
            std::cerr << error.lines()[i] << '\n';
        if (error.lines().size() > mostLines)
            std::cerr << "and " << error.lines().size() - mostLines << " more\n";
        return wrongUsage;
    }
    catch (const std::exception& error)
    {
        std::cerr << "quilt: " << error.what() << '\n';
        return failed;
    }
}
