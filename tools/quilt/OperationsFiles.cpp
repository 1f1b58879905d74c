#include <algorithm>
#include <iterator>

#include <QUILT/FileTasks.h>

#include "Operation.h"

namespace QuiltTool
{

namespace
{

using Choices = std::vector<std::pair<std::string, int64_t>>;

const Choices& fileTypes()
{
    static const Choices s_types = {{"jpeg", 0}, {"hdr", 1}, {"tiff", 2}, {"exr", 3}, {"dpx", 4},
                                    {"png", 5},  {"tga", 6}, {"bmp", 7},  {"pnm", 8}, {"avi", 10}};
    return s_types;
}

std::string fileTypeName(int64_t type)
{
    const auto found =
        std::ranges::find(fileTypes(), type, [](const auto& entry) { return entry.second; });
    return found == fileTypes().end() ? "" : found->first;
}

// Windows that the graph gives in place of the file's.
void overrideWindows(QUILT::FileInParams& params, const Arguments& a)
{
    EMULSION::ImageDescription description;
    QUILT::ImageHeaderCache_GetImageDescription(&description, params.filename, true);
    params.dataRegion =
        a.values.has("dataRegion") ? a.values.region("dataRegion") : description.dataRegion;
    params.displayRect =
        a.values.rectOr("displayRect", a.format ? *a.format : description.displayRect);
}

ref_ptr<RenderTask> buildFileIn(const Arguments& a)
{
    QUILT::FileInParams params;
    params.filename = a.values.text("filename");
    params.colorspace = a.values.text("colorspace");
    params.frame = a.values.integerOr("frame", a.frame);
    if (a.values.has("channelNames"))
    {
        params.useFileChannels = false;
        std::ranges::copy(a.values.texts("channelNames"), params.channelNames);
    }
    if (a.values.has("useFileChannels"))
        params.useFileChannels = a.values.flag("useFileChannels");
    params.overrideWindows = a.values.flag("overrideWindows");
    if (params.overrideWindows)
        overrideWindows(params, a);
    return QUILT::createFileInTask(a.name, a.time, params);
}

// A type or a format that is given goes before the ending of the file's name.
void setFormat(QUILT::FileOutParams& params, const Values& values)
{
    const bool hasType = values.has("fileType");
    if (hasType)
    {
        params.fileType = values.choice<int32_t>("fileType");
        params.fileFormat = fileTypeName(params.fileType);
    }
    if (values.has("fileFormat"))
        params.fileFormat = values.text("fileFormat");
    params.deduceFormat =
        values.has("deduceFormat") ? values.flag("deduceFormat") : params.fileFormat.empty();
}

void setTypeOptions(QUILT::FileOutParams& params, const Values& values)
{
    const auto option = [&](const char* name) {
        return static_cast<int32_t>(values.integer(name));
    };
    params.type0Option = option("type0Option");
    params.type2Option = option("type2Option");
    params.type3OptionA = option("type3OptionA");
    params.type3OptionB = option("type3OptionB");
    params.type4Option = option("type4Option");
    params.type5OptionA = option("type5OptionA");
    params.type5OptionB = option("type5OptionB");
    params.type5OptionC = option("type5OptionC");
    params.type10OptionA = values.integer("type10OptionA");
    params.type10OptionB = values.integer("type10OptionB");
}

ref_ptr<RenderTask> buildFileOut(const Arguments& a)
{
    QUILT::FileOutParams params;
    params.writeFile = a.values.flag("writeFile");
    params.filename = a.values.text("filename");
    params.fileComment = a.values.text("fileComment");
    setFormat(params, a.values);
    if (a.values.has("channels"))
    {
        params.writeAllChannels = false;
        params.channels = a.values.mask("channels");
    }
    if (a.values.has("writeAllChannels"))
        params.writeAllChannels = a.values.flag("writeAllChannels");
    params.frame = a.values.integerOr("frame", a.frame);
    params.outputDataWindow = a.values.choice<QUILT::OutputDataWindow>("outputDataWindow");
    params.dataWindowBounds = a.values.rect("dataWindowBounds");
    params.tiled = a.values.flag("tiled");
    params.tileWidth = a.values.integer("tileWidth");
    params.tileHeight = a.values.integer("tileHeight");
    params.tileFlag = a.values.flag("tileFlag");
    params.displayWindow = a.values.rect("displayWindow");
    params.fileDisplayWindow = a.values.rectOr("fileDisplayWindow", params.displayWindow);
    setTypeOptions(params, a.values);
    return QUILT::createFileOutTask(a.name, a.time, params, a.input("input"));
}

std::vector<Param> fileInParams()
{
    return {
        text("filename", "The picture; \"?part=NAME\" behind it names a part of an OpenEXR file.")
            .named(FileUse::Read),
        text("colorspace", "The colour space of the file; empty: its pixels as they are; \"auto\": "
                           "the one that is named in the path.")
            .defaultsTo(""),
        integer("frame", "Of a movie; without it the frame that is rendered.").isComputed(),
        flag("useFileChannels", "True: the file's red, green, blue and alpha; without it true "
                                "unless channelNames is given.")
            .isComputed(),
        list("channelNames",
             "The file's channels to read into red, green, blue and alpha; an "
             "empty name leaves the channel at 0.",
             text("", ""))
            .ofCount(4)
            .isComputed(),
        flag("overrideWindows", "True: dataRegion and displayRect in place of the file's windows.")
            .defaultsTo(false),
        region("dataRegion",
               "With overrideWindows: where the pixels lie; without it as in the file.")
            .isComputed(),
        rect("displayRect", "With overrideWindows: the display window; without it the format.")
            .isComputed(),
    };
}

std::vector<Param> fileOutTypeParams()
{
    return {
        integer("type0Option", "jpeg: the quality.").defaultsTo(95).between(1, 100),
        choice("type2Option", "tiff: the depth.",
               {{"8-bit", 0}, {"16-bit", 1}, {"float", 2}, {"half", 3}})
            .defaultsTo("16-bit"),
        choice("type3OptionA", "exr: the compression.",
               {{"none", 0},
                {"RLE", 1},
                {"ZIPS", 2},
                {"ZIP", 3},
                {"PIZ", 4},
                {"PXR24", 5},
                {"B44", 6},
                {"B44A", 7},
                {"DWAA", 8},
                {"DWAB", 9}})
            .defaultsTo("ZIP"),
        choice("type3OptionB", "exr: the depth.", {{"half", 0}, {"float", 1}}).defaultsTo("half"),
        choice("type4Option", "dpx: the bits of a value.",
               {{"8-bit", 8}, {"10-bit", 10}, {"12-bit", 12}, {"16-bit", 16}})
            .defaultsTo("10-bit"),
        choice("type5OptionA", "png: the bits of a value.", {{"8-bit", 8}, {"16-bit", 16}})
            .defaultsTo("8-bit"),
        integer("type5OptionB", "png: how hard to compress.").defaultsTo(6).between(0, 9),
        choice("type5OptionC", "png: how values are brought to 8 bits.",
               {{"round", 0}, {"dither", 1}})
            .defaultsTo("round"),
        integer("type10OptionA", "avi: bits a second; 0: by the size of the picture.")
            .defaultsTo(0)
            .atLeast(0),
        integer("type10OptionB", "avi: frames in 1000 seconds.").defaultsTo(24000).atLeast(1),
    };
}

std::vector<Param> fileOutParams()
{
    std::vector<Param> params = {
        flag("writeFile", "False: only passes its input on.").defaultsTo(true),
        text("filename", "The file.").named(FileUse::Write),
        text("fileComment", "A comment for the file's header.").defaultsTo(""),
        choice("fileType", "The type of file; without it by the ending of its name.", fileTypes())
            .isComputed(),
        text("fileFormat", "The same by the name of the format.").isComputed(),
        flag("deduceFormat", "True: by the ending of the file's name; without it true unless "
                             "fileType or fileFormat is given.")
            .isComputed(),
        flag("writeAllChannels", "True: all channels of the input; without it true unless channels "
                                 "is given.")
            .isComputed(),
        mask("channels", "The channels to write.").isComputed(),
        integer("frame", "Of a movie; without it the frame that is rendered.").isComputed(),
        choice("outputDataWindow",
               "The file's data window: displayWindow, what of the input's data lies in it, or "
               "dataWindowBounds.",
               {{"Display", QUILT::OutputDataWindowDisplay},
                {"Intersection", QUILT::OutputDataWindowIntersection},
                {"Manual", QUILT::OutputDataWindowManual}})
            .defaultsTo("Display"),
        rect("dataWindowBounds", "The data window when outputDataWindow is Manual.")
            .defaultsTo({0, 0, 0, 0}),
        flag("tiled", "exr: tiles in place of scanlines.").defaultsTo(false),
        integer("tileWidth", "With tiled: in pixels.").defaultsTo(64).between(1, 1 << 20),
        integer("tileHeight", "With tiled: in pixels.").defaultsTo(64).between(1, 1 << 20),
        flag("tileFlag", "With tiled: smaller versions of the picture too (mip-maps).")
            .defaultsTo(false),
        rect("displayWindow", "The picture; without it the graph's format.").defaultsToFormat(),
        rect("fileDisplayWindow", "The display window in the file's header; without it "
                                  "displayWindow.")
            .isComputed(),
    };
    std::ranges::move(fileOutTypeParams(), std::back_inserter(params));
    return params;
}

}

std::vector<Operation> fileOperations()
{
    return {
        {"FileIn",
         "A picture from a file, converted to scene linear.",
         {},
         fileInParams(),
         buildFileIn},
        {"FileOut",
         "Writes its input to a file, and passes it on.",
         {{"input"}},
         fileOutParams(),
         buildFileOut},
    };
}

}
