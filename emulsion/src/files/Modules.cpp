#include "files/Modules.h"

#include <cstdlib>
#include <filesystem>
#include <map>
#include <mutex>
#include <system_error>
#include <vector>

#include <dlfcn.h>

#include "files/FileFormat.h"

namespace EMULSION::Private
{

namespace fs = std::filesystem;

namespace
{

std::vector<fs::path> pathsOfEnvironment(const std::string& list)
{
    std::vector<fs::path> folders;
    for (size_t start = 0; start <= list.size();)
    {
        const size_t end = std::min(list.find(':', start), list.size());
        if (end > start)
            folders.emplace_back(list.substr(start, end - start));
        start = end + 1;
    }
    return folders;
}

std::vector<fs::path> moduleFolders()
{
    // Not for programs that run with more rights than their caller.
    if (const char* list = ::secure_getenv("EMULSION_MODULE_PATH"))
        return pathsOfEnvironment(list);
    Dl_info info = {};
    if (!::dladdr(reinterpret_cast<const void*>(&loadModule), &info) || !info.dli_fname)
        return {};
    std::error_code error;
    const fs::path library = fs::weakly_canonical(info.dli_fname, error);
    return {library.parent_path() / "emulsion"};
}

[[noreturn]] void refuse(const ModuleName& name, const std::string& why)
{
    throw FileError(ERROR_FILE_UNSUPPORTED, std::string("the module ") + name.file +
                                                ", which brings " + name.contents + ", " + why);
}

void* entryOf(const ModuleName& name, const fs::path& path)
{
    // Local: its libraries' symbols do not get in the way of the program's own.
    void* module = ::dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (!module)
        refuse(name, std::string("cannot be opened (") + ::dlerror() + "); the Debian package " +
                         name.package + " has what it needs");
    void* entry = ::dlsym(module, name.entry);
    if (!entry)
        refuse(name, "is not one of this library's (" + path.string() + ")");
    return entry;
}

void* findEntry(const ModuleName& name)
{
    std::string places;
    for (const fs::path& folder : moduleFolders())
    {
        const fs::path path = folder / name.file;
        std::error_code error;
        if (fs::exists(path, error))
            return entryOf(name, path);
        places.append(places.empty() ? "" : ", ").append(folder.string());
    }
    refuse(name, "is missing (sought in: " + (places.empty() ? "no folder" : places) +
                     "); it is built with " + name.option + " and needs the Debian package " +
                     name.package);
}

}

void* loadModule(const ModuleName& name)
{
    // Held while a module is opened, so that it is opened once. A leaf, but for what the dynamic
    // linker runs.
    static std::mutex s_mutex;
    static std::map<std::string, void*> s_entries;
    const std::lock_guard lock(s_mutex);
    void*& entry = s_entries[name.file];
    if (!entry)
        entry = findEntry(name);
    return entry;
}

}
