// Read-only memory maps of whole files: a reader takes a file's bytes as
// one span, without copying them.
#pragma once

#include "vxplot_export.h"

#include <cstddef>

struct Filemap;

// Map the whole of the file name read-only.  On success *data points at its
// first byte and *size holds its length; both stay valid until
// filemap_close().  An empty file succeeds with *data null and *size 0.
// flags is reserved; pass 0.  Null on failure (a missing or unreadable file,
// a directory, a null argument), with a registered error and *data and
// *size untouched.
VXPLOT_EXPORT Filemap* filemap_open(const char* name, int flags, const void** data, size_t* size);

// Unmap and free.  0 on success, negative when unmapping fails; a null map
// is ignored.
VXPLOT_EXPORT int filemap_close(Filemap* map);
