// quilt: renders graph files, and tells what is in them.

#include <exception>
#include <iostream>

#include "CommandLine.h"
#include "Problems.h"

int main(int argc, char** argv)
{
    constexpr int failed = 1, wrongUsage = 2;
    constexpr size_t mostLines = 100;
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
