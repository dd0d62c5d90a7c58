// Reading a parameter file's text, shared by kvread and HLKv.
#pragma once

#include <string>

// The whole text of the file at path into *text, at most KV_MAX_FILE_SIZE
// bytes.  0, or -1 with a line "<caller>: Cannot open '...': <reason>.",
// "<caller>: '...' is larger than N bytes." or "<caller>: Cannot read
// '...'." registered.
int kv_read_text(const char* caller, const std::string& path, std::string* text);
