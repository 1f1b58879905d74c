#pragma once

#include <cstdint>
#include <string>

#include <EMULSION/ImageFile.h>

#include "QUILT/Export.h"
#include "QUILT/RefPtr.h"
#include "QUILT/RenderTask.h"
#include "UTIL/Rect.h"

/// Pictures from files and into files. A factory is called on the thread that builds the graph; its
/// task renders on any number of threads.
namespace QUILT
{

/// What to read. The part that it derives from says which channels of the file, and where they lie.
struct FileInParams : EMULSION::InputImageOptions
{
    std::string filename;   ///< not empty; `?part=<name>` behind it names a part of an OpenEXR file
    std::string colorspace; ///< of the pixels: "auto" finds a name in the path; "": as they are
    int64_t frame = 0;      ///< of a movie file
};

/// A picture from a file, in the colour space scene_linear, transparent black outside the file's
/// data window.
///
/// The header is read at once, and remembered for the process. The pixels are read as tiles need
/// them where the file allows it: tile by tile from a tiled OpenEXR file, band by band where rows
/// can be had in any order; otherwise as a whole. Each is read once, by whichever tile comes first,
/// and goes when it has been used up.
///
/// What is wrong with the file's name or header is thrown here, as std::runtime_error or, from
/// EMULSION, EmulsionRenderingException; a deep file throws RenderTaskRenderingException. With
/// "auto" a path without a colour space's name throws std::runtime_error, and a name that
/// OpenColorIO does not know throws its exception. What is wrong with the pixels fails the render.
QUILT_API ref_ptr<RenderTask> createFileInTask(const std::string& name, float time,
                                               const FileInParams& params);

/// The description of a file's header, read at the first call for that name and remembered: a file
/// that changes keeps its description until ImageHeaderCache_Clear.
///
/// \param description     filled on success, may be null, and left alone on failure
/// \param throwOnFailure  true: a failure throws std::runtime_error or what the header's reader
///                        says; false: it returns false
/// Failures are not remembered. Safe from any thread; one header is read at a time.
QUILT_API bool ImageHeaderCache_GetImageDescription(EMULSION::ImageDescription* description,
                                                    const std::string& filename,
                                                    bool throwOnFailure);
QUILT_API void ImageHeaderCache_Clear();

/// How a written file's data window comes about.
enum OutputDataWindow : int
{
    OutputDataWindowDisplay = 0,      ///< the display window
    OutputDataWindowIntersection = 1, ///< what of the data lies in the display window
    OutputDataWindowManual = 2        ///< as given
};

/// Where and how to write. The numbers of file types and their options are those of
/// EMULSION::WriteImage.
// NOLINTNEXTLINE(clang-analyzer-optin.performance.Padding): in the order in which they are read
struct FileOutParams
{
    bool writeFile = true; ///< false: only passes its input on
    std::string filename;
    std::string fileComment;
    int32_t fileType = 3;
    std::string fileFormat;   ///< a format's name, used unless deduceFormat is set
    bool deduceFormat = true; ///< by the name's ending
    bool writeAllChannels = true;
    uint64_t channels = 15; ///< the channels to write unless writeAllChannels is set
    int64_t frame = 0;      ///< of a movie file
    OutputDataWindow outputDataWindow = OutputDataWindowDisplay;
    UTIL::Rect dataWindowBounds; ///< for OutputDataWindowManual, not null there
    bool tiled = false;
    int64_t tileWidth = 0; ///< pixels, of the file; like the next two only when tiled
    int64_t tileHeight = 0;
    bool tileFlag = false;        ///< true: mip-map levels too
    UTIL::Rect fileDisplayWindow; ///< goes into the file's header
    UTIL::Rect displayWindow;     ///< for OutputDataWindowDisplay (not null there) and Intersection
    int32_t type3OptionB = 0;
    int32_t type3OptionA = 0;
    int32_t type0Option = 0;
    int32_t type2Option = 0;
    int32_t type4Option = 0;
    int32_t type5OptionA = 0;
    int32_t type5OptionB = 0;
    int32_t type5OptionC = 0;
    int64_t type10OptionA = 0;
    int64_t type10OptionB = 0;
};

/// Writes its input to a file, once all tiles of the render are there, and passes it on.
///
/// The data region is the input's cut to the file's data window; a file has at least one pixel.
/// What no tile of the render reaches is the background colour in the file. Under its name the file
/// is whole or not there. The environment variable LANTERN_RELEASE must be set: it goes into the
/// file's metadata.
///
/// A file that cannot be written and a data window that is missing throw
/// RenderTaskRenderingException here; a write that fails fails the render.
QUILT_API ref_ptr<RenderTask> createFileOutTask(const std::string& name, float time,
                                                const FileOutParams& params,
                                                ref_ptr<RenderTask> input);

}
