#pragma once

#include <cstdint>

// What libEMULSION.so and its module of still formats, emulsion-io-images.so, say to each other:
// plain structures and functions, so that neither needs the other's symbols and no exception
// crosses.
//
// A function that can fail returns 0 or null then, and fills its Fault. Rows are counted from the
// top of the picture as it is to be seen: the orientation that a file asks for has been applied.
// Strides are counted in floats and may be negative. An object serves one thread at a time.
namespace EMULSION::Module
{

/// Changed with every change of this file: the module and the library belong to one build.
constexpr uint32_t imageModuleVersion = 1;

/// The name of the function that gives the module's table, an ImageModuleEntry.
constexpr const char* imageModuleEntryName = "emulsionImageModule";

struct Fault
{
    int32_t code;    ///< an EMULSION::Error
    char text[1020]; ///< the reason, ended by a zero
};

/// An open file for reading; for writing one that is empty. The descriptor stays the caller's, who
/// keeps it open as long as the object that works on it.
struct File
{
    int descriptor;
    const char* path;   ///< for what the format's library may say
    const char* format; ///< one of those that ModuleFormat.cpp names
    int32_t threads;    ///< that the library may use: 0 for none
};

struct PictureInfo
{
    int64_t width, height;
    int32_t channelCount;
    const char* const* channelNames; ///< lives as long as the reader
    uint64_t pixelBytes;             ///< of one pixel in the file, all channels together
    int32_t rowsAtRandom;            ///< not 0: any rows can be had at the cost of those rows
};

/// Sources of a channel beside the channels of the file, which are 0 and up.
constexpr int32_t sourceZero = -1;
constexpr int32_t sourceOne = -2;

/// A rectangle of the picture, half-open, inside of it, and where its floats go.
struct PictureRequest
{
    int64_t x0, y0, x1, y1;
    int32_t count;      ///< floats of a pixel, 1 to 4, one behind the other
    int32_t sources[4]; ///< where each comes from
    float* pixels;      ///< pixel (x0, y0)
    int64_t pixelStride, rowStride;
};

/// How a sample is stored in a file to be written.
enum class Sample : int32_t
{
    UInt8,
    UInt10, ///< dpx
    UInt12, ///< dpx
    UInt16,
    Half, ///< tiff
    Float ///< tiff; and hdr, which shares an exponent
};

struct PictureAttribute
{
    const char* name;
    const char* value;
};

struct NewPicture
{
    int64_t width, height;
    int32_t channelCount; ///< 1 grey, 3 RGB, 4 RGBA with associated alpha
    Sample sample;
    int32_t compression; ///< jpeg: quality 1 to 100; png: zlib level 0 to 9
    int32_t dither;      ///< not 0: colours are dithered by a fixed pattern
    const char* comment;
    const PictureAttribute* attributes;
    int64_t attributeCount;
};

class Reader;
class Writer;

struct ImageModule
{
    uint32_t version;

    Reader* (*open)(const File* file, PictureInfo* info, Fault* fault);
    /// Fills the whole rectangle: zeros where rows cannot be read, which is a failure.
    int (*read)(Reader* reader, const PictureRequest* request, Fault* fault);
    /// How many rows the format's library has been asked to decode so far.
    uint64_t (*rowsDecoded)(const Reader* reader);
    void (*close)(Reader* reader);

    Writer* (*create)(const File* file, const NewPicture* picture, Fault* fault);
    /// The next rows from the top down, pixels one behind the other, rows without gaps.
    int (*write)(Writer* writer, const float* pixels, int64_t rows, Fault* fault);
    /// All rows have come.
    int (*finish)(Writer* writer, Fault* fault);
    void (*destroy)(Writer* writer);
};

using ImageModuleEntry = const ImageModule* (*)();

}
