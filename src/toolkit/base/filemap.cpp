#include "toolkit/base/filemap.h"

#include "toolkit/base/errors.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <cstring>
#include <new>

struct Filemap
{
    void* address = nullptr;  // null for an empty file
    size_t size = 0;
};

Filemap* filemap_open(const char* name, int /*flags*/, const void** data, size_t* size)
{
    if (!name || !data || !size) {
        hl_register_error(0, "filemap_open: Null file name or output pointer.\n");
        return nullptr;
    }
    int fd = open(name, O_RDONLY | O_CLOEXEC);
    if (fd < 0) {
        hl_register_error(0, "filemap_open: Cannot open '%s': %s.\n", name, strerror(errno));
        return nullptr;
    }
    struct stat st;
    int error = 0;
    if (fstat(fd, &st) != 0)
        error = errno;
    else if (S_ISDIR(st.st_mode))
        error = EISDIR;
    else if (!S_ISREG(st.st_mode))
        error = ENODEV;  // a pipe or device has no fixed length to map
    else if (static_cast<uintmax_t>(st.st_size) > SIZE_MAX)
        error = EFBIG;
    if (error) {
        close(fd);
        hl_register_error(0, "filemap_open: Cannot open '%s': %s.\n", name, strerror(error));
        return nullptr;
    }

    size_t length = static_cast<size_t>(st.st_size);
    void* address = nullptr;
    if (length > 0) {
        address = mmap(nullptr, length, PROT_READ, MAP_PRIVATE, fd, 0);
        if (address == MAP_FAILED) {
            error = errno;
            close(fd);
            hl_register_error(0, "filemap_open: Cannot open '%s': %s.\n", name, strerror(error));
            return nullptr;
        }
    }
    // the mapping keeps the file's pages; the descriptor is no longer needed
    close(fd);

    Filemap* map = new (std::nothrow) Filemap;
    if (!map) {
        if (address)
            munmap(address, length);
        hl_register_error(1, "filemap_open: Out of memory.\n");
        return nullptr;
    }
    map->address = address;
    map->size = length;
    *data = address;
    *size = length;
    return map;
}

int filemap_close(Filemap* map)
{
    if (!map)
        return 0;
    int rc = 0;
    if (map->address && munmap(map->address, map->size) != 0) {
        hl_register_error(0, "filemap_close: Cannot unmap: %s.\n", strerror(errno));
        rc = -1;
    }
    delete map;
    return rc;
}
