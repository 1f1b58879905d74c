#include <iostream>

#include <EMULSION/Error.h>
#include <EMULSION/ImageFile.h>
#include <QUILT/Exceptions.h>

#include "CommandLine.h"
#include "Describe.h"
#include "Text.h"

namespace QuiltTool
{

namespace
{

// How a file of this kind is read.
const char* readerOf(const EMULSION::ImageDescription& description)
{
    if (description.isTiled)
        return "tiled";
    if (description.isDeepShadow || description.isVolumeShadow)
        return "deep";
    return description.isScanlineReadable ? "scanline" : "preload";
}

struct FileInfo
{
    std::string file;
    EMULSION::ImageDescription description;
    long tileWidth = 0, tileHeight = 0; // 0: no tiles
};

FileInfo readInfo(const std::string& file)
{
    FileInfo info;
    info.file = file;
    EMULSION::ReadImageDescription(&info.description, file.c_str());
    QUILT::CheckError();
    if (info.description.isTiled)
    {
        EMULSION::createTiledReadExrFunction(file.c_str(), {}, info.tileWidth, info.tileHeight);
        QUILT::CheckError();
    }
    return info;
}

OrderedJson infoJson(const FileInfo& info)
{
    const EMULSION::ImageDescription& description = info.description;
    OrderedJson tileSize;
    if (info.tileWidth > 0)
        tileSize = OrderedJson::array({info.tileWidth, info.tileHeight});
    return {{"file", info.file},
            {"reader", readerOf(description)},
            {"channels", channelsText(description.channels)},
            {"channelNames", description.channelNames},
            {"dataWindow", rectJson(description.dataRegion.getBounds())},
            {"displayWindow", rectJson(description.displayRect)},
            {"tileSize", tileSize},
            {"parts", description.parts}};
}

void printInfo(const FileInfo& info)
{
    const EMULSION::ImageDescription& description = info.description;
    std::cout << info.file << '\n'
              << "  reader:         " << readerOf(description) << '\n'
              << "  channels:       " << channelsText(description.channels) << " of "
              << joined(description.channelNames, ", ") << '\n'
              << "  data window:    " << regionText(description.dataRegion) << '\n'
              << "  display window: " << rectText(description.displayRect) << '\n';
    if (info.tileWidth > 0)
        std::cout << "  tiles:          " << info.tileWidth << " x " << info.tileHeight << ", "
                  << description.levels.size() << " level(s)\n";
    if (!description.parts.empty())
        std::cout << "  parts:          " << joined(description.parts, ", ") << '\n';
}

}

int info(const InfoOptions& options)
{
    constexpr int done = 0, failed = 1;
    int status = done;
    OrderedJson list = OrderedJson::array();
    for (const std::string& file : options.files)
    {
        try
        {
            const FileInfo info = readInfo(file);
            if (options.json)
                list.push_back(infoJson(info));
            else
                printInfo(info);
        }
        catch (const std::exception& error)
        {
            std::cerr << trimmed(error.what()) << '\n';
            status = failed;
        }
    }
    if (options.json)
        printJson(list);
    return status;
}

}
