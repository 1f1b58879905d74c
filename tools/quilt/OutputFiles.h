#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "GraphFile.h"

namespace QuiltTool
{

/// A file that a command uses beside the graph's pictures.
struct OtherFile
{
    std::string use; ///< "--trace", "the graph file"
    std::string file;
};

struct OtherFiles
{
    std::vector<OtherFile> read, written;
};

/// Refuses, before anything is rendered, what would destroy files: two writers of one file, and a
/// writer of a file that is read, at any of the frames. Throws UsageError that names the nodes.
void checkOutputFiles(const GraphFile& graph, const std::vector<int64_t>& frames,
                      const OtherFiles& others);

/// The pictures that the outputs read at these frames, each once.
std::vector<std::string> picturesToRead(const GraphFile& graph, const std::vector<int64_t>& frames);

/// The file of a picture, without the part of it that may stand behind its name.
std::string pathOf(const std::string& picture);

/// The files that the outputs, and the file-out nodes that they need, write at a frame.
std::vector<std::string> picturesToWrite(const GraphFile& graph, int64_t frame);

/// The outputs whose file is the same at each of several frames, by their places.
std::vector<std::string> overwrittenOutputs(const GraphFile& graph,
                                            const std::vector<int64_t>& frames);

}
