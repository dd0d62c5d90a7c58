// Channel lists: which station and channel names a list of patterns takes.
//
// A pattern is a POSIX extended regular expression matched against the
// whole name.  A channel list is a comma list of "sta:chan;copy" items,
// each part optional and a pattern of its own: "STA", ":BHZ", "STA:BH.",
// "STA;1", "STA:BHZ;1"; a missing, empty or "*" part takes everything, and
// the copy part is matched against the decimal copy number.
#pragma once

#include "vxplot_export.h"

#include <QString>

// 1 when spec takes string, 0 when it does not.  A null or empty spec, or
// "*", takes everything.  Otherwise spec is anchored with "^" and "$" where
// it lacks them and matched as an extended expression by strregmatch(),
// which also refuses expressions too costly to compile (see strings.h).  A
// null string is matched as empty.  A bad expression registers
// "rspickMatchString: Bad regular expression '<spec>'.\n" after
// strregmatch's own line and returns -1.
VXPLOT_EXPORT int rspickMatchString(const char* spec, const char* string);

// The 0-based place in the comma list stachans of the first item whose
// station, channel and copy parts all take sta, chan and copy; -1 when none
// does.  A null or empty list, or "*", takes everything (0).  The walk stops
// at an item with more than one ':' or ';' or with a bad expression: -2
// with a registered error.
VXPLOT_EXPORT int rspickMatchStachans(const char* stachans, const char* sta, const char* chan, int copy);

// The comma list stachans as blank-separated station and channel patterns,
// one pair per item, the pairs joined by commas: "STA:BHZ" gives "STA BHZ",
// ":BHZ" ".* BHZ", "STA:" "STA .*", and a bare station "STA" the pair
// "STA.* .*" (its name as a prefix, any channel).  Missing, empty or "*"
// parts become ".*"; copy parts are dropped; empty items are skipped.  The
// number of pairs, or -1 with a registered error for an item with more
// than one ':' or ';' (scv then unchanged).
VXPLOT_EXPORT int rspickStachans2ScvStachans(const QString& stachans, QString& scv);
