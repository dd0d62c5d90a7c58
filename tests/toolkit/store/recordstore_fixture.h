// Records written by hand at the widths of CSS 3.0, and a folder of table
// files for the record store tests.
#pragma once

#include "toolkit/toolkit_support.h"
#include "toolkit/store/recordstore.h"

#include <gtest/gtest.h>

#include <climits>
#include <filesystem>
#include <string>
#include <utility>
#include <vector>

namespace rsfixture {

// origin, 237 characters: lat lon depth time orid evid jdate nass ndef ndp
// grn srn etype depdp dtype mb mbid ms msid ml mlid algorithm auth commid
// lddate.
inline const std::string kOrigin1 =
    "  47.7372" " " "  12.7957" " " "  10.0000" " " " 1296474900.12345" " " "       1" " " "       1" " "
    " 2011031" " " "  12" " " "  10" " " "  -1" " " "     543" " " "      36" " " "qb     " " " "-999.0000" " "
    "f" " " "   4.50" " " "       3" " " "-999.00" " " "      -1" " " "   3.21" " " "       4" " "
    "locsat:iasp91  " " " "analyst        " " " "      -1" " " "2011-01-31T120000";
inline const std::string kOrigin2 =
    " -33.4500" " " " -70.6667" " " "  35.5000" " " " 1296400000.00000" " " "       2" " " "       2" " "
    " 2011030" " " "   8" " " "   8" " " "   0" " " "     130" " " "       8" " " "-      " " " "-999.0000" " "
    "-" " " "-999.00" " " "      -1" " " "   5.10" " " "       5" " " "-999.00" " " "      -1" " "
    "-              " " " "NEIC           " " " "      -1" " " "2011-01-30T090000";
inline const std::string kOrigin3 =
    "  47.7372" " " "  12.7957" " " "   2.0000" " " " 1296500000.00000" " " "       3" " " "       1" " "
    " 2011031" " " "   3" " " "   3" " " "  -1" " " "     543" " " "      36" " " "eq     " " " "-999.0000" " "
    "g" " " "   2.00" " " "      -1" " " "-999.00" " " "      -1" " " "   2.00" " " "       6" " "
    "locsat:iasp91  " " " "analyst        " " " "      -1" " " "2011-01-31T130000";

// arrival, 223 characters: sta time arid jdate stassid chanid chan iphase
// stype deltim azimuth delaz slow delslo ema rect amp per logat clip fm snr
// qual auth commid lddate.
inline const std::string kArrival1 =
    "TESTbe" " " " 1296474912.50000" " " "      17" " " " 2011031" " " "      -1" " " "      -1" " " "HHZ     " " "
    "P       " " " "-" " " " 0.050" " " " 123.45" " " "  -1.00" " " "  -1.00" " " "  -1.00" " " "  -1.00" " "
    "  0.812" " " "     153.2" " " "   0.80" " " "-999.00" " " "-" " " "c." " " "     12.34" " " "i" " "
    "tv:analyst:42  " " " "      -1" " " "2011-01-31T120500";

// wfdisc, 283 characters: sta chan time wfid chanid jdate endtime nsamp
// samprate calib calper instype segtype datatype clip dir dfile foff commid
// lddate.
inline const std::string kWfdisc1 =
    "FUR   " " " "BHZ     " " " " 1296474900.00000" " " "      11" " " "      -1" " " " 2011031" " "
    " 1296474959.97500" " " "    2400" " " " 40.0000000" " " "        1.000000" " " "        1.000000" " "
    "STS2  " " " "o" " " "s4" " " "-" " "
    "wf/2011                                                         " " "
    "FUR.BHZ.w                       " " " "         0" " " "      -1" " " "2011-01-31T120000";

// site, 155 characters: sta ondate offdate lat lon elev staname statype
// refsta dnorth deast lddate.
inline const std::string kSite1 =
    "FUR   " " " " 2006350" " " "      -1" " " "  48.1629" " " "  11.2752" " " "   0.5650" " "
    "Fuerstenfeldbruck, Bavaria                        " " " "ss  " " " "-     " " " "   0.0000" " " "   0.0000" " "
    "2014-03-03T110706";

// lastid, 42 characters: keyname keyvalue lddate.
inline const std::string kLastidArid =
    "arid           " " " "      17" " " "2011-01-31T120500";

// mt, with numbers in exponent form: mtid evid orid tmrr tmtt tmpp tmrt
// tmrp tmtp scm mw pdc str1 dip1 rake1 str2 dip2 rake2 auth lddate.
inline const std::string kMt1 =
    "       1" " " "       1" " " "       1" " " " 1.2340e+17" " " "-5.6700e+16" " " "-6.6700e+16" " "
    " 3.0000e+15" " " "-9.9900e+02" " " " 0.0000e+00" " " " 1.3100e+17" " " "   5.31" " " "  87.50" " "
    " 120.00" " " "  45.00" " " "  90.00" " " " 300.00" " " "  45.00" " " "  90.00" " "
    "gcmt           " " " "2011-01-31T120000";

using ::Folder;

// The record count of a table of db.
inline long recordCount(Rsptr db, const char* table)
{
    Rsptr t = rslookup(db, nullptr, table, nullptr, nullptr);
    long n = -1;
    if (rsquery(t, RS_RECORD_COUNT, &n) < 0)
        return -1;
    return n;
}

// p at another record.
inline Rsptr at(Rsptr p, long record)
{
    p.record = record;
    return p;
}

// What rsget gives for p (a whole record or one field), and the text of a
// field of p's record; "(error)" when it cannot be read.
inline std::string recordText(Rsptr p)
{
    char buffer[RS_STRSZ];
    return rsisinvalid(p) || rsget(p, buffer) < 0 ? "(error)" : buffer;
}
inline std::string fieldText(Rsptr p, const char* field)
{
    return recordText(rslookup(p, nullptr, nullptr, field, nullptr));
}

// The records [first, last) of a bundle or view p, {-99, -99} on failure.
inline std::pair<long, long> rangeOf(Rsptr p)
{
    long first = -1, last = -1;
    if (rsget_range(p, &first, &last) < 0)
        return {-99, -99};
    return {first, last};
}

// What rsquery(p, code) gives: a number (LONG_MIN on failure), a text
// ("(error)" on failure), a list of names joined by blanks.
inline long queryLong(Rsptr p, int code)
{
    long n = 0;
    return rsquery(p, code, &n) < 0 ? LONG_MIN : n;
}
inline std::string queryText(Rsptr p, int code)
{
    const char* text = nullptr;
    return rsquery(p, code, &text) < 0 || !text ? "(error)" : text;
}
inline std::string queryList(Rsptr p, int code)
{
    Tbl* list = nullptr;
    if (rsquery(p, code, &list) < 0)
        return "(error)";
    std::string out;
    for (long i = 0; i < seqcount(list); i++)
        out += (i ? " " : "") + std::string(static_cast<const char*>(seqget(list, i)));
    seqfree(list, nullptr);
    return out;
}

// The shared reference data, or empty when it is not there.
inline std::string sharedData(const std::string& sub)
{
#ifdef VX_SHARED_DATA_DIR
    std::string path = std::string(VX_SHARED_DATA_DIR) + "/" + sub;
    if (std::filesystem::exists(path))
        return path;
#endif
    return {};
}

}  // namespace rsfixture
