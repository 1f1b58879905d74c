#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <vector>

#include <OpenImageIO/imageio.h>

#include "files/ImageModuleInterface.h"
#include "Samples.h"
#include "Stream.h"

namespace EMULSION::Module
{

/// A picture on its way into a file. Samples are made here, and OpenImageIO gets them as they are
/// to stand in the file: it rounds otherwise, and takes alpha out after rounding.
class PictureWriter
{
public:
    PictureWriter(const File& file, const NewPicture& picture);

    void write(const float* pixels, int64_t rows);
    void finish();

private:
    void setFormat(const NewPicture& picture);
    void setTexts(const NewPicture& picture);
    [[noreturn]] void fail(const std::string& step);

    const std::string m_format;
    const SampleWriter m_samples;
    Stream m_stream;
    std::unique_ptr<OIIO::ImageOutput> m_output;
    OIIO::ImageSpec m_spec;
    bool m_dividesByAlpha;
    int64_t m_row = 0;
    std::vector<std::byte> m_rows;
    std::vector<float> m_floats;
};

}
