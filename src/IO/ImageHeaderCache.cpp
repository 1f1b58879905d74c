#include <filesystem>
#include <map>
#include <mutex>
#include <stdexcept>

#include "QUILT/Exceptions.h"
#include "QUILT/FileTasks.h"

namespace QUILT
{

namespace
{

struct HeaderCache
{
    std::mutex mutex; // held while a header is read; guards the map
    std::map<std::string, EMULSION::ImageDescription> descriptions;
};

// Never destroyed: tasks ask until the process ends.
HeaderCache& headerCache()
{
    static auto* const cache = new HeaderCache;
    return *cache;
}

// Of the file, behind whose path a part's name may stand.
std::filesystem::file_status statusOf(const std::string& filename)
{
    const std::filesystem::file_status status = std::filesystem::status(filename);
    if (std::filesystem::exists(status))
        return status;
    return std::filesystem::status(filename.substr(0, filename.find("?part=")));
}

void requireRegularFile(const std::string& filename)
{
    std::filesystem::file_status status;
    try
    {
        status = statusOf(filename);
    }
    catch (const std::filesystem::filesystem_error&)
    {
        throw std::runtime_error("Filesystem error reading file: " + filename);
    }
    if (!std::filesystem::status_known(status) || !std::filesystem::exists(status))
        throw std::runtime_error("File not found: " + filename);
    if (!std::filesystem::is_regular_file(status))
        throw std::runtime_error("Not a file: " + filename);
}

EMULSION::ImageDescription readDescription(const std::string& filename)
{
    requireRegularFile(filename);
    EMULSION::ImageDescription description;
    EMULSION::ReadImageDescription(&description, filename.c_str());
    CheckError();
    return description;
}

}

bool ImageHeaderCache_GetImageDescription(EMULSION::ImageDescription* description,
                                          const std::string& filename, bool throwOnFailure)
{
    try
    {
        if (filename.empty())
            throw std::runtime_error("No filename provided.");
        HeaderCache& cache = headerCache();
        const std::lock_guard lock(cache.mutex);
        auto known = cache.descriptions.find(filename);
        if (known == cache.descriptions.end())
            known = cache.descriptions.emplace(filename, readDescription(filename)).first;
        if (description)
            *description = known->second;
        return true;
    }
    catch (const std::exception&)
    {
        if (throwOnFailure)
            throw;
        return false;
    }
}

void ImageHeaderCache_Clear()
{
    HeaderCache& cache = headerCache();
    const std::lock_guard lock(cache.mutex);
    cache.descriptions.clear();
}

}
