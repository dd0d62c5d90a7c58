// Reading the station and channel mapping tables of the event service.
#pragma once

#include "vxplot_export.h"

#include <string>
#include <string_view>
#include <vector>

// Split a line into at most max words separated by blanks, tabs or
// carriage returns.  The number of words.
VXPLOT_EXPORT int qk_split_words(std::string_view line, std::vector<std::string>* words, int max);
