#include <algorithm>
#include <cstring>
#include <mutex>
#include <new>

#include <OpenImageIO/imageio.h>

#include "Failure.h"
#include "files/ImageModuleInterface.h"
#include "PictureReader.h"
#include "PictureWriter.h"

// The functions of the module's table: no exception leaves them.
namespace EMULSION::Module
{

class Reader : public PictureReader
{
public:
    using PictureReader::PictureReader;
};

class Writer : public PictureWriter
{
public:
    using PictureWriter::PictureWriter;
};

namespace
{

void setFault(Fault* fault, Error code, const char* text)
{
    fault->code = code;
    const size_t length = std::min(std::strlen(text), sizeof(fault->text) - 1);
    std::memcpy(fault->text, text, length);
    fault->text[length] = '\0';
}

// What the call returns, or a zero of that type.
auto guarded(Fault* fault, const auto& call) -> decltype(call())
{
    try
    {
        return call();
    }
    catch (const Failure& failure)
    {
        setFault(fault, failure.code(), failure.what());
    }
    catch (const std::bad_alloc&)
    {
        setFault(fault, ERROR_OUT_OF_MEMORY, "there is not enough memory");
    }
    catch (const std::exception& exception)
    {
        setFault(fault, ERROR_UNKNOWN, exception.what());
    }
    catch (...)
    {
        setFault(fault, ERROR_UNKNOWN, "the format's library does not say why");
    }
    return {};
}

// OpenImageIO's settings are the whole process's: they are changed when they differ.
void setThreads(int32_t threads)
{
    static std::mutex s_mutex;
    const std::lock_guard lock(s_mutex);
    int current = 0;
    const int wanted = std::max(threads, 1); // 1: the calling thread alone
    if (!OIIO::getattribute("threads", current) || current != wanted)
        OIIO::attribute("threads", wanted);
}

void setLimits()
{
    OIIO::attribute("limits:imagesize_MB", 65536);
    OIIO::attribute("limits:channels", 64);
}

Reader* open(const File* file, PictureInfo* info, Fault* fault)
{
    return guarded(fault, [&] {
        setThreads(file->threads);
        auto reader = std::make_unique<Reader>(*file);
        *info = reader->info();
        return reader.release();
    });
}

int read(Reader* reader, const PictureRequest* request, Fault* fault)
{
    return guarded(fault, [&] {
        reader->read(*request);
        return 1;
    });
}

uint64_t rowsDecoded(const Reader* reader)
{
    return reader->rowsDecoded();
}

void close(Reader* reader)
{
    delete reader;
}

Writer* create(const File* file, const NewPicture* picture, Fault* fault)
{
    return guarded(fault, [&] {
        setThreads(file->threads);
        return std::make_unique<Writer>(*file, *picture).release();
    });
}

int write(Writer* writer, const float* pixels, int64_t rows, Fault* fault)
{
    return guarded(fault, [&] {
        writer->write(pixels, rows);
        return 1;
    });
}

int finish(Writer* writer, Fault* fault)
{
    return guarded(fault, [&] {
        writer->finish();
        return 1;
    });
}

void destroy(Writer* writer)
{
    delete writer;
}

}

}

extern "C" __attribute__((visibility("default"))) const EMULSION::Module::ImageModule*
emulsionImageModule()
{
    using namespace EMULSION::Module;
    static const ImageModule s_module = {
        imageModuleVersion, open, read, rowsDecoded, close, create, write, finish, destroy};
    static const bool s_limited = (setLimits(), true);
    static_cast<void>(s_limited);
    return &s_module;
}
