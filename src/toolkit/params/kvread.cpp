// Parameter files: the search path and the reading of a file.
#include "toolkit/base/errors.h"
#include "toolkit/params/kv.h"
#include "toolkit/params/kvfile_p.h"

#include <sys/stat.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

namespace {

constexpr const char* suffix = ".pf";

// The file name kvread() looks for: name with ".pf" added unless it has it.
std::string fileName(const char* name)
{
    std::string file(name);
    const size_t n = strlen(suffix);
    if (file.size() < n || file.compare(file.size() - n, n, suffix) != 0)
        file += suffix;
    return file;
}

// The folders searched, in order.
std::vector<std::string> searchFolders()
{
    std::vector<std::string> folders;
    if (const char* path = getenv("VXPLOT_PARAMPATH")) {
        const char* p = path;
        while (true) {
            const char* colon = strchr(p, ':');
            size_t n = colon ? static_cast<size_t>(colon - p) : strlen(p);
            if (n > 0)
                folders.emplace_back(p, n);
            if (!colon)
                break;
            p = colon + 1;
        }
    }
#ifdef VX_DATADIR
    folders.emplace_back(VX_DATADIR);
#endif
#ifdef VX_SOURCE_DATADIR
    folders.emplace_back(VX_SOURCE_DATADIR);
#endif
    folders.emplace_back(".");
    return folders;
}

bool isRegularFile(const std::string& path)
{
    struct stat st;
    return stat(path.c_str(), &st) == 0 && S_ISREG(st.st_mode);
}

// The path of the file for name, or empty when there is none.
std::string findFile(const char* name)
{
    std::string file = fileName(name);
    if (file.find('/') != std::string::npos)
        return isRegularFile(file) ? file : std::string();
    for (const std::string& folder : searchFolders()) {
        std::string path = folder;
        if (path.back() != '/')
            path += '/';
        path += file;
        if (isRegularFile(path))
            return path;
    }
    return std::string();
}

} // namespace

char* kvfind(const char* name)
{
    if (!name || !*name)
        return nullptr;
    std::string path = findFile(name);
    return path.empty() ? nullptr : strdup(path.c_str());
}

int kv_read_text(const char* caller, const std::string& path, std::string* text)
{
    FILE* f = fopen(path.c_str(), "rb");
    if (!f) {
        hl_register_error(0, "%s: Cannot open '%s': %s.\n", caller, path.c_str(), strerror(errno));
        return -1;
    }
    text->clear();
    char chunk[65536];
    size_t n;
    bool too_big = false;
    while ((n = fread(chunk, 1, sizeof chunk, f)) > 0) {
        if (text->size() + n > static_cast<size_t>(KV_MAX_FILE_SIZE)) {
            too_big = true;
            break;
        }
        text->append(chunk, n);
    }
    const bool read_error = ferror(f) != 0;
    fclose(f);
    if (too_big) {
        hl_register_error(0, "%s: '%s' is larger than %ld bytes.\n", caller, path.c_str(), KV_MAX_FILE_SIZE);
        return -1;
    }
    if (read_error) {
        hl_register_error(0, "%s: Cannot read '%s'.\n", caller, path.c_str());
        return -1;
    }
    return 0;
}

int kvread(const char* name, Kv** kv)
{
    if (!name || !*name || !kv) {
        hl_register_error(0, "kvread: Null or empty argument.\n");
        return -1;
    }
    std::string path = findFile(name);
    if (path.empty()) {
        std::string folders;
        for (const std::string& f : searchFolders())
            folders += (folders.empty() ? "" : ":") + f;
        hl_register_error(0, "kvread: Cannot find parameter file '%s' in %s.\n", fileName(name).c_str(),
                          folders.c_str());
        return -1;
    }
    std::string text;
    if (kv_read_text("kvread", path, &text) < 0)
        return -1;
    if (kvcompile_source(text.data(), text.size(), path.c_str(), kv) < 0) {
        hl_register_error(0, "kvread: Cannot compile '%s'.\n", path.c_str());
        return -1;
    }
    return 0;
}
