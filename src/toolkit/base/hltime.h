// Time conversion of the host toolkit.
//
// A time is a double of seconds since 1970-01-01 00:00:00 UTC; negative
// values lie before 1970.  Calendar arithmetic is exact integer arithmetic on
// the proleptic Gregorian calendar and never consults the process time zone
// or locale.  Named time zones (timeparsez) come from the system's tzdata
// through QTimeZone.
//
// Parsers never register errors: they return a failure value and leave the
// wording of any message to the caller.  They read nothing past the end of
// the text and accept years from -9999 to 99999 and epochs within +-1e13 s.
#pragma once

#include "vxplot_export.h"

// Returned by timeparse() for text that is not a time.
constexpr double HL_TIME_NULL = -2.0e30;

// The present time.
VXPLOT_EXPORT double timenow();

// Parse a UTC time.  Blanks may surround the text; nothing else may follow.
// Forms, with their time fields optional from the right and fractional
// seconds allowed:
//   "2000001:12:00:00"      year and day of year, also "2000001 12:00:00.25"
//   "2000-01-01T12:00:00Z"  ISO, also with a blank for the T, or a date alone
//   "2000-001T12:00:00"     ISO ordinal date
//   "2000/01/01 12:00:00"   year/month/day
//   "1/1/2000 12:00"        month/day/year
//   "946728000.5", "-12.5"  a bare epoch
// A bare integer of exactly seven digits is a year and day of year; every
// other bare number is an epoch.  The UTC designators "Z", "UTC" and "GMT"
// may follow a time, or a date after a blank; other zones need timeparsez().
// Returns the epoch, or HL_TIME_NULL when the text does not parse (null
// included).
VXPLOT_EXPORT double timeparse(const char* text);

// timeparse() with an optional time zone after the date or time: "Z", "UTC",
// "GMT", offsets east of UTC "+05:30", "+0530", "-08" (attached to a time or
// after a blank), or a tzdata name after a blank ("2000-01-01 12:00
// Europe/Berlin").  No zone means UTC.  Sets *epoch and returns 0; -1 on a
// parse failure or an unknown zone, *epoch untouched.
VXPLOT_EXPORT int timeparsez(const char* text, double* epoch);

// Parse an interval into seconds: "90" (seconds), "1:30" (minutes:seconds),
// "1:00:00" (h:m:s), "1:00:00:00" (d:h:m:s), or numbers with units "90s",
// "5m", "2h", "1d", "1w", "1.5h", "1d2h30m", "5 min", "2 hours".  Unit words
// are s sec secs second seconds, m min mins minute minutes, h hr hrs hour
// hours, d day days, w wk week weeks, in any case.  A leading sign applies
// to the whole.  Sets *seconds and returns 0; -1 on a parse failure.
VXPLOT_EXPORT int deltimeparsez(const char* text, double* seconds);

// Format a time like strftime(), in UTC with the C locale's names, after
// rounding it to milliseconds.  Extensions: "%s" is the milliseconds as
// three digits, "%j" the day of year as three digits; "%Y" is the year in at
// least four digits with a sign before 1 AD.  Returns malloc'd text that the
// caller frees; null for a null format, a non-finite time or one beyond
// +-1e13 s, or output longer than 64 KiB.
VXPLOT_EXPORT char* timeformat(double epoch, const char* format);

// The standard form "2000-01-01 12:00:00.000", which timeparse() reads back
// to the same millisecond.  Malloc'd; null where timeformat() gives null.
VXPLOT_EXPORT char* timestring(double epoch);

// Year * 1000 + day of year (2000001 for 2000-01-01); 0 for a non-finite
// time or one beyond +-1e13 s.
VXPLOT_EXPORT int timejdate(double epoch);

// Month (1-12) and day of month of a day of year; either output may be null.
// Returns 0, or -1 for a day outside the year (outputs untouched).
VXPLOT_EXPORT int timedaynum2date(int doy, int year, int* month, int* day);

// Split a time into year, day of year (1-366), hour, minute and seconds
// including the fraction.  The time is not rounded.  Any output may be null.
// Returns 0, or -1 for a non-finite time or one beyond +-1e13 s.
VXPLOT_EXPORT int timebreakdown(double epoch, int* year, int* doy, int* hour, int* minute, double* second);

// timebreakdown() with the month (1-12) and day of month as well.
VXPLOT_EXPORT int timebreakdown2(double epoch, int* year, int* month, int* day, int* doy, int* hour, int* minute,
                                 double* second);

// Choose tick times for a time axis from xstart to xend (either order): a
// round increment in seconds (1-2-5 steps from 1e-6 s below a second; 1, 2,
// 5, 10, 15, 30 s and min; 1, 2, 3, 6, 12 h; 1, 2, 5, 10, 30, 365 days; then
// 365 days times 2, 5, 10, 20, 50, ...) such that at most n and, where any
// step allows it, at least one multiple of it lies in the range, with as
// many ticks as that allows.  *start is the first multiple of *incr at or
// after the lower limit.  Returns 0, or -1 for n < 1, null outputs, or a
// zero or non-finite range.
VXPLOT_EXPORT int nicetimeticks(int n, double* start, double* incr, double xstart, double xend);
