// Byte ranges of gzip-compressed waveform files.
//
// Private to the library.  A waveform file "x.w" may be stored only as
// "x.w.gz"; the loader then inflates the file from its start up to the end
// of the range it needs, and no further.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

// Inflate the gzip data at bytes (size bytes: one member or several one
// after the other) and keep the inflated bytes [offset, offset + length) in
// out, which is resized to what the data held of that range (at most
// length).  *inflated (may be null) gets the number of inflated bytes seen.
// 0 when the range was read or the data ended cleanly before its end (out
// is then short); -1 when the data are not gzip, are corrupt, or end in the
// middle of a member before the range was complete, with a message naming
// the file name registered.
int wfgzip_range(const unsigned char* bytes, size_t size, uint64_t offset, size_t length,
                 std::vector<unsigned char>* out, uint64_t* inflated, const char* name);
