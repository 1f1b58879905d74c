#include "OutputFiles.h"

#include <map>
#include <set>

#include "Text.h"

namespace QuiltTool
{

namespace
{

namespace fs = std::filesystem;

struct FileParam
{
    std::string place; // JSON pointer, or an option
    std::string owner; // for people
    std::string file;
};

// One name for each file, whatever way leads to it.
std::string canonical(const std::string& file)
{
    std::error_code error;
    const fs::path path = fs::weakly_canonical(fs::absolute(file, error), error);
    return error ? file : path.string();
}

// Who writes which file, and what is wrong with that.
class Writers
{
public:
    explicit Writers(const GraphFile& graph) : m_start(graph.path.string() + ": ") {}

    void add(const FileParam& writer)
    {
        const auto [other, isNew] = m_byFile.try_emplace(canonical(writer.file), writer);
        if (!isNew && other->second.place != writer.place)
            note(writer, "by " + other->second.owner + " and by " + writer.owner);
    }

    /// `how`: "by node x"
    void checkReader(const std::string& file, const std::string& how)
    {
        const auto writer = m_byFile.find(canonical(file));
        if (writer != m_byFile.end())
            note(writer->second, "by " + writer->second.owner + " and read " + how);
    }

    void throwIfWrong() const
    {
        if (!m_lines.empty())
            throw UsageError(std::vector<std::string>(m_lines.begin(), m_lines.end()));
    }

private:
    void note(const FileParam& writer, const std::string& by)
    {
        const bool isInGraph = writer.place.starts_with('/');
        m_lines.insert((isInGraph ? m_start : "") + writer.place + ": " + inQuotes(writer.file) +
                       " is written " + by);
    }

    const std::string m_start;
    std::map<std::string, FileParam> m_byFile; // of all frames
    std::set<std::string> m_lines;
};

// Others, such as /dev/null, take what comes from several sides.
bool isOrWillBeOrdinary(const std::string& file)
{
    std::error_code ignored;
    const fs::file_status status = fs::status(file, ignored);
    return !fs::exists(status) || fs::is_regular_file(status);
}

bool writesNothing(const Node& node)
{
    const auto writeFile = node.params.find("writeFile");
    return writeFile != node.params.end() && *writeFile == false;
}

// What the outputs and the nodes that they need read or write at a frame.
std::vector<FileParam> filesAt(const GraphFile& graph, int64_t frame, FileUse use)
{
    std::vector<FileParam> files;
    const std::vector<bool> needed = graph.neededByOutputs();
    for (size_t i = 0; i < graph.nodes.size(); ++i)
    {
        const Node& node = graph.nodes[i];
        if (!needed[i] || (use == FileUse::Write && writesNothing(node)))
            continue;
        for (const auto& [param, file] :
             graph.fileNames(node.operation->params, node.params, frame, use))
            files.push_back(
                {below(below(node.place, "params"), param), "node " + inQuotes(node.name), file});
    }
    if (use != FileUse::Write)
        return files;
    for (const Output& output : graph.outputs)
        if (output.file)
            files.push_back(
                {below(output.place, "file"),
                 output.place + " (node " + inQuotes(graph.nodes[output.node].name) + ")",
                 resolved(withFrame(*output.file, frame), graph.folder)});
    return files;
}

}

std::string pathOf(const std::string& picture)
{
    return picture.substr(0, picture.find("?part="));
}

void checkOutputFiles(const GraphFile& graph, const std::vector<int64_t>& frames,
                      const OtherFiles& others)
{
    Writers writers(graph);
    for (const int64_t frame : frames)
        for (const FileParam& writer : filesAt(graph, frame, FileUse::Write))
            writers.add(writer);
    for (const OtherFile& other : others.written)
        if (isOrWillBeOrdinary(other.file))
            writers.add({other.use, other.use, other.file});
    for (const int64_t frame : frames)
        for (const FileParam& reader : filesAt(graph, frame, FileUse::Read))
            writers.checkReader(pathOf(reader.file), "by " + reader.owner);
    for (const OtherFile& other : others.read)
        writers.checkReader(other.file, "as " + other.use);
    writers.throwIfWrong();
}

std::vector<std::string> picturesToRead(const GraphFile& graph, const std::vector<int64_t>& frames)
{
    std::vector<std::string> pictures;
    std::set<std::string> seen;
    for (const int64_t frame : frames)
        for (const FileParam& reader : filesAt(graph, frame, FileUse::Read))
            if (seen.insert(reader.file).second)
                pictures.push_back(reader.file);
    return pictures;
}

std::vector<std::string> picturesToWrite(const GraphFile& graph, int64_t frame)
{
    std::vector<std::string> pictures;
    for (const FileParam& writer : filesAt(graph, frame, FileUse::Write))
        pictures.push_back(writer.file);
    return pictures;
}

std::vector<std::string> overwrittenOutputs(const GraphFile& graph,
                                            const std::vector<int64_t>& frames)
{
    std::vector<std::string> places;
    if (frames.size() < 2)
        return places;
    const std::vector<FileParam> first = filesAt(graph, frames[0], FileUse::Write);
    const std::vector<FileParam> second = filesAt(graph, frames[1], FileUse::Write);
    for (size_t i = 0; i < first.size(); ++i)
        // A movie takes all frames.
        if (first[i].file == second[i].file && !first[i].file.ends_with(".avi"))
            places.push_back(first[i].place);
    return places;
}

}
